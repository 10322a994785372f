// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/MovieFrames.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace lumicrate::media {

namespace {

constexpr int onePerProcessor = 0;

int videoTrackOf(const InputMovie& movie) {
    const auto track = movie.videoTrack();
    if (!track) movie.fail(localized("it has no video."));
    return *track;
}

}  // namespace

MovieFrames::MovieFrames(const std::filesystem::path& url)
    : movie_(url, InputMovie::Look::atWhatIsLeft),
      track_(videoTrackOf(movie_)),
      decoder_(movie_.makeDecoder(track_, onePerProcessor)),
      packet_(makePacket()) {
    const PixelSize size = codedSize();
    if (size.width <= 0 || size.height <= 0) failAsDamaged();
    movie_.select({track_});
    log(LogArea::movie, "decoding ", decoder_->codec->name, ", ", size.width, " × ", size.height);
    const std::int64_t duration = stream().duration;
    if (duration != AV_NOPTS_VALUE && duration > 0) {
        const std::int64_t start = stream().start_time == AV_NOPTS_VALUE ? 0 : stream().start_time;
        end_ = timeOf(start) + timeOf(duration);
    }
}

MovieFrame MovieFrames::next() {
    OwnedFrame frame = makeFrame();
    for (;;) {
        const int result = avcodec_receive_frame(decoder_.get(), frame.get());
        if (result < 0 && (result == AVERROR_EOF || isDrained_))
            return {{}, {}, std::exchange(damagedFrom_, {})};
        if (result < 0) {
            if (result != AVERROR(EAGAIN)) noteDamage(readUpTo_);
            sendPacket();
            continue;
        }
        if (frame->best_effort_timestamp == AV_NOPTS_VALUE) continue;
        const CMTime begin = timeOf(frame->best_effort_timestamp);
        const bool isGap = damagedFrom_.isValid() && damagedFrom_ < begin;
        return {begin, std::move(frame), isGap ? std::exchange(damagedFrom_, {}) : CMTime()};
    }
}

void MovieFrames::seek(CMTime time) {
    movie_.seek(time.seconds());
    avcodec_flush_buffers(decoder_.get());
    readUpTo_ = time;
    damagedFrom_ = {};
    isDrained_ = false;
}

void MovieFrames::noteDamage(CMTime from) {
    if (!damagedFrom_.isValid() || from < damagedFrom_) damagedFrom_ = from;
}

void MovieFrames::sendPacket() {
    if (!movie_.read(*packet_)) {
        // Much more than the rounding of containers.
        constexpr CMTime tolerance(1, 2);
        if (end_.isValid() && readUpTo_ + tolerance < end_) noteDamage(readUpTo_);
        isDrained_ = true;
        avcodec_send_packet(decoder_.get(), nullptr);
        return;
    }
    const CMTime begin = packet_->pts == AV_NOPTS_VALUE ? readUpTo_ : timeOf(packet_->pts);
    const CMTime end = begin + timeOf(std::max<std::int64_t>(packet_->duration, 0));
    if (readUpTo_ < end) readUpTo_ = end;
    const bool isCorrupt = (packet_->flags & AV_PKT_FLAG_CORRUPT) != 0;
    if (isCorrupt || avcodec_send_packet(decoder_.get(), packet_.get()) < 0) noteDamage(begin);
}

CMTime MovieFrames::timeOf(std::int64_t timestamp) const {
    constexpr int ticksPerSecond = 1'000'000'000;
    // Rounded down: a picture must not begin after the time that was computed for it.
    const std::int64_t time =
        av_rescale_q_rnd(timestamp, stream().time_base, {1, ticksPerSecond}, AV_ROUND_DOWN);
    // A damaged file may contain any number.
    constexpr std::int64_t longest = std::numeric_limits<std::int64_t>::max() / 8;
    return {std::clamp(time, -longest, longest), ticksPerSecond};
}

PixelSize MovieFrames::codedSize() const {
    return {stream().codecpar->width, stream().codecpar->height};
}

double MovieFrames::pixelAspect() const {
    for (const AVRational& each : {stream().sample_aspect_ratio, stream().codecpar->sample_aspect_ratio}) {
        if (each.num > 0 && each.den > 0) return av_q2d(each);
    }
    return 1;
}

Orientation MovieFrames::orientation() const {
    for (int i = 0; i < stream().nb_side_data; ++i) {
        const AVPacketSideData& each = stream().side_data[i];
        if (each.type != AV_PKT_DATA_DISPLAYMATRIX) continue;
        std::vector<std::int32_t> matrix(each.size / sizeof(std::int32_t));
        std::memcpy(matrix.data(), each.data, matrix.size() * sizeof(std::int32_t));
        return orientationOf(matrix);
    }
    return {};
}

void MovieFrames::failAsDamaged() const {
    movie_.fail(localized("it is cut off or damaged."));
}

}  // namespace lumicrate::media
