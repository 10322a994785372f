#include "Linux/Media/Encoding/VideoTrack.h"

#include "Linux/Media/Encoding/H264Encoder.h"
#include "Linux/Media/Encoding/HevcEncoder.h"

#include <algorithm>

namespace lumicrate::media {

namespace {

/// Pictures that may wait. Each holds one of capture's buffers.
constexpr double waitingPictures = 6;
/// A movie ends this long after its last picture begins, unless that says how long it lasts: in ticks, 1 ms.
constexpr std::int64_t lastDuration = videoTimescale / 1000;
/// The screen is at rest when no picture came for so long.
constexpr std::chrono::milliseconds restTime{200};
constexpr int mostRefinements = 3;
/// Pictures are refused before sound is, which takes little and would be missed more.
constexpr double mostBacklog = 0.75;
constexpr int greatestSide = 16384;

int leastSide(AVVideoCodecType codec) {
    return codec == AVVideoCodecType::hevc ? HevcEncoder::leastSide : 2;
}

std::unique_ptr<VideoEncoder> makeEncoder(AVVideoCodecType codec, const VideoEncoder::Settings& settings) {
    if (codec == AVVideoCodecType::hevc) return std::make_unique<HevcEncoder>(settings);
    return std::make_unique<H264Encoder>(settings);
}

isobmff::VideoCodec sampleEntry(AVVideoCodecType codec) {
    return codec == AVVideoCodecType::hevc ? isobmff::VideoCodec::hevc : isobmff::VideoCodec::h264;
}

}  // namespace

bool VideoTrack::canEncode(const AVVideoOutputSettings& settings) {
    const int least = leastSide(settings.codec);
    return settings.width >= least && settings.height >= least && settings.width <= greatestSide &&
           settings.height <= greatestSide;
}

VideoTrack::VideoTrack(const AVVideoOutputSettings& settings)
    : codec_(settings.codec),
      settings_{settings.width, settings.height, settings.compression.averageBitRate,
                settings.compression.expectedSourceFrameRate, settings.compression.maxKeyFrameInterval} {}

void VideoTrack::open(MovieFile& file) {
    encoder_ = makeEncoder(codec_, settings_);
    file_ = &file;
    const isobmff::VideoDescription video{sampleEntry(codec_), encoder_->codedWidth(),
                                          encoder_->codedHeight(), encoder_->configuration()};
    track_ = file.addTrack({video, "Video", videoTimescale, 0}, settings_.bitRate);
}

void VideoTrack::encode(const CMSampleBuffer& sample, CMTime sessionStart) {
    if (!sample.imageBuffer) return;
    const CMTime since = sample.presentationTimeStamp() - sessionStart;
    if (since < CMTime::zero()) return;
    std::int64_t time = since.converted(videoTimescale);
    // Two stamps may fall into one tick.
    if (lastTime_) time = std::max(time, *lastTime_ + 1);
    const bool lasts = sample.timing.duration.isValid() && sample.timing.duration > CMTime::zero();
    const std::int64_t duration = lasts ? sample.timing.duration.converted(videoTimescale) : lastDuration;
    end_ = time + std::max<std::int64_t>(duration, 1);
    write(encoder_->encode(*sample.imageBuffer, time, sample.frameInfo), time);
    coarse_ = encoder_->isCoarse() ? sample.imageBuffer : nullptr;
    rests_ = refinements_ = 0;
}

std::optional<std::chrono::milliseconds> VideoTrack::restsAfter() const {
    if (!coarse_) return std::nullopt;
    return restTime;
}

void VideoTrack::rest() {
    ++rests_;
    const double rested = std::chrono::duration<double>(restTime).count() * rests_;
    const std::int64_t time = *lastTime_ + 1;
    const std::optional<EncodedPicture> finer = encoder_->refine(*coarse_, time, rested);
    if (!finer) return;
    end_ = std::max(end_, time + 1);
    write(*finer, time);
    if (++refinements_ >= mostRefinements || !encoder_->isCoarse()) coarse_.reset();
}

/// Nothing is held back, so no picture is left.
void VideoTrack::finish(CMTime /*sessionStart*/, std::optional<MovieEnd> end) {
    coarse_.reset();
    if (end && end->isTold) file_->endTrack(track_, end->time.converted(videoTimescale));
}

std::optional<CMTime> VideoTrack::decidedEnd() const {
    if (!lastTime_) return std::nullopt;
    return CMTime(end_, videoTimescale);
}

double VideoTrack::roomFor(const CMSampleBuffer& /*sample*/) const {
    return 1 / waitingPictures;
}

bool VideoTrack::isHeldUp() const {
    return file_->backlog() >= mostBacklog;
}

void VideoTrack::write(const EncodedPicture& picture, std::int64_t time) {
    file_->write(track_, {picture.data, time, end_ - time, picture.key});
    lastTime_ = time;
}

}  // namespace lumicrate::media
