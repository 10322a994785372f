// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/PictureReader.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Error.h"

#include <algorithm>
#include <utility>

namespace lumicrate::media {

PictureReader::PictureReader(const std::filesystem::path& source, int track, const TickRange& range,
                             AVRational clock, Until until, std::function<void()> check)
    : input_(source),
      track_(track),
      range_(range),
      clock_(clock),
      until_(until),
      check_(std::move(check)),
      decoder_(input_.makeDecoder(track, 0)),
      packet_(makePacket()),
      decoded_(makeFrame()),
      next_(makeFrame()),
      current_(makeFrame()) {
    input_.select({track});
    input_.seek(secondsOf(range.start, clock));
}

/// A picture is known to be the one shown at the start only when the next one has been decoded.
std::optional<ShownPicture> PictureReader::next() {
    while (decode()) {
        const std::int64_t time = timeOf(*decoded_);
        if (time >= range_.end) {
            drained_ = true;
            end_ = range_.end;
            break;
        }
        const bool follows = hasNext_ && time > range_.start;
        if (follows) std::swap(current_, next_);
        std::swap(next_, decoded_);
        hasNext_ = true;
        if (!follows) continue;
        const std::int64_t begin = std::max(timeOf(*current_), range_.start);
        return ShownPicture{*current_, begin - range_.start, std::max<std::int64_t>(time - begin, 1)};
    }
    if (!hasNext_) return std::nullopt;
    hasNext_ = false;
    std::swap(current_, next_);
    const std::int64_t begin = std::max(timeOf(*current_), range_.start);
    const std::int64_t end = std::max(std::min(end_, range_.end), begin + 1);
    return ShownPicture{*current_, begin - range_.start, end - begin};
}

/// False at the end.
bool PictureReader::decode() {
    while (!drained_) {
        const int received = avcodec_receive_frame(decoder_.get(), decoded_.get());
        if (received >= 0 && decoded_->best_effort_timestamp != AV_NOPTS_VALUE) return true;
        if (received >= 0) continue;
        drained_ = received == AVERROR_EOF;
        if (drained_) break;
        if (received != AVERROR(EAGAIN)) input_.fail(reasonFor(received) + ".");
        const int sent = avcodec_send_packet(decoder_.get(), read() ? packet_.get() : nullptr);
        // Instead of a picture that cannot be decoded the one before it stays.
        if (sent < 0 && sent != AVERROR_INVALIDDATA) input_.fail(reasonFor(sent) + ".");
    }
    return false;
}

bool PictureReader::read() {
    check_();
    if (!input_.read(*packet_)) return false;
    if (packet_->pts == AV_NOPTS_VALUE) return true;
    const AVRational from = input_.stream(track_).time_base;
    const std::int64_t time = av_rescale_q(packet_->pts, from, clock_);
    const bool key = (packet_->flags & AV_PKT_FLAG_KEY) != 0;
    if (until_ == Until::keyPicture && key && time > range_.start) {
        end_ = time;
        return false;
    }
    if ((packet_->flags & AV_PKT_FLAG_DISCARD) == 0)
        end_ = std::max(end_, av_rescale_q(packet_->pts + packet_->duration, from, clock_));
    return true;
}

std::int64_t PictureReader::timeOf(const AVFrame& frame) const {
    return av_rescale_q(frame.best_effort_timestamp, decoder_->pkt_timebase, clock_);
}

}  // namespace lumicrate::media
