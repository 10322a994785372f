// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/VideoTrack.h"

#include "Linux/Media/Encoding/H264Encoder.h"
#include "Linux/Media/Encoding/HevcEncoder.h"

#include <algorithm>

namespace lumicrate::media {

namespace {

/// Length of the queue in pictures. Each of them holds one of capture's buffers, so large ones are fewer.
constexpr double maxQueued = 6;
/// A key picture in HEVC takes as long as ten others, which must wait meanwhile.
constexpr double maxQueuedHevc = 16;
constexpr double minQueued = 4;
constexpr double maxQueuedPixels = 16 * 1920.0 * 1080;
/// The duration of the last picture unless it has its own: 1 ms, in ticks.
constexpr std::int64_t lastDuration = videoTimescale / 1000;
/// The screen counts as idle if no picture comes for this time.
constexpr std::chrono::milliseconds idleTime{200};
constexpr int maxRefinements = 3;
/// Pictures are refused before sound, which takes little space and would be missed more.
constexpr double maxBacklog = 0.75;
constexpr int maxSide = 16384;

std::unique_ptr<VideoEncoder> makeEncoder(AVVideoCodecType codec, const VideoEncoder::Settings& settings) {
    if (codec == AVVideoCodecType::hevc) return std::make_unique<HevcEncoder>(settings);
    return std::make_unique<H264Encoder>(settings);
}

isobmff::VideoCodec sampleEntry(AVVideoCodecType codec) {
    return codec == AVVideoCodecType::hevc ? isobmff::VideoCodec::hevc : isobmff::VideoCodec::h264;
}

}  // namespace

bool VideoTrack::canEncode(const AVVideoOutputSettings& settings) {
    return settings.width > 0 && settings.height > 0 && settings.width <= maxSide &&
           settings.height <= maxSide;
}

VideoTrack::VideoTrack(const AVVideoOutputSettings& settings)
    : codec_(settings.codec),
      settings_{settings.width,
                settings.height,
                settings.compression.averageBitRate,
                settings.compression.expectedSourceFrameRate,
                settings.compression.maxKeyFrameInterval,
                settings.compression.isNaturalVideo,
                settings.compression.maxStillKeyFrameInterval} {}

void VideoTrack::open(MovieDestination& movie) {
    encoder_ = makeEncoder(codec_, settings_);
    movie_ = &movie;
    const isobmff::VideoDescription video{sampleEntry(codec_), encoder_->codedWidth(),
                                          encoder_->codedHeight(), encoder_->configuration()};
    track_ = movie.addTrack({video, "Video", videoTimescale, 0}, settings_.bitRate);
}

void VideoTrack::encode(const CMSampleBuffer& sample, CMTime sessionStart) {
    if (!sample.imageBuffer) return;
    const CMTime since = sample.presentationTimeStamp() - sessionStart;
    if (since < CMTime::zero()) return;
    std::int64_t time = since.converted(videoTimescale);
    // Two pictures may fall into one tick.
    if (lastTime_) time = std::max(time, *lastTime_ + 1);
    const bool lasts = sample.timing.duration.isValid() && sample.timing.duration > CMTime::zero();
    const std::int64_t duration = lasts ? sample.timing.duration.converted(videoTimescale) : lastDuration;
    end_ = time + std::max<std::int64_t>(duration, 1);
    const EncodedPicture picture = encoder_->encode(*sample.imageBuffer, time, sample.frameInfo);
    write(picture, time);
    idlePeriods_ = 0;
    if (!picture.isRepeat) {
        coarse_ = sample.imageBuffer;
        refinements_ = 0;
    }
    // Where every picture has its duration, as with a constant frame rate, another one would break the grid.
    if (lasts || !encoder_->isCoarse()) coarse_.reset();
}

std::optional<std::chrono::milliseconds> VideoTrack::idleTimeout() const {
    if (!coarse_) return std::nullopt;
    return idleTime;
}

void VideoTrack::handleIdle() {
    ++idlePeriods_;
    const double idleSeconds = std::chrono::duration<double>(idleTime).count() * idlePeriods_;
    const std::int64_t time = *lastTime_ + 1;
    const std::optional<EncodedPicture> finer = encoder_->refine(*coarse_, time, idleSeconds);
    if (!finer) return;
    end_ = std::max(end_, time + 1);
    write(*finer, time);
    if (++refinements_ >= maxRefinements || !encoder_->isCoarse()) coarse_.reset();
}

/// The encoder delays no pictures, so none is left.
void VideoTrack::finish(CMTime /*sessionStart*/, std::optional<MovieEnd> end) {
    coarse_.reset();
    if (end && end->isExplicit) movie_->endTrack(track_, end->time.converted(videoTimescale));
}

std::optional<CMTime> VideoTrack::decidedEnd() const {
    if (!lastTime_) return std::nullopt;
    return CMTime(end_, videoTimescale);
}

double VideoTrack::roomFor(const CMSampleBuffer& /*sample*/) const {
    const double most = codec_ == AVVideoCodecType::hevc ? maxQueuedHevc : maxQueued;
    const double pixels = static_cast<double>(settings_.width) * settings_.height;
    return 1 / std::clamp(maxQueuedPixels / pixels, minQueued, most);
}

bool VideoTrack::isHeldUp() const {
    return movie_->backlog() >= maxBacklog;
}

void VideoTrack::write(const EncodedPicture& picture, std::int64_t time) {
    movie_->write(track_, {picture.data, time, end_ - time, picture.key});
    lastTime_ = time;
}

}  // namespace lumicrate::media
