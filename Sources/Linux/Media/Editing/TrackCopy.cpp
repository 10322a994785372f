#include "Linux/Media/Editing/TrackCopy.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <utility>

namespace lumicrate::media {

namespace {

/// Sound that is decoded before the start, in seconds, so that the decoder has settled there.
constexpr double soundLeadIn = 0.05;

/// A range in ticks of the new track's clock.
struct TickRange {
    std::int64_t start = 0;
    std::int64_t end = std::numeric_limits<std::int64_t>::max() / 2;  ///< so that differences fit

    static TickRange of(const std::optional<CMTimeRange>& range, AVRational clock) {
        if (!range) return {};
        return {ticksAt(range->start, clock), ticksAt(range->end, clock)};
    }
    static std::int64_t ticksAt(CMTime time, AVRational clock) {
        const AVRational seconds{1, static_cast<int>(time.timescale())};
        return av_rescale_q_rnd(time.value(), seconds, clock, AV_ROUND_NEAR_INF);
    }
};

class TrackCopier {
 public:
    TrackCopier(const std::filesystem::path& source, TrackPair track, const std::optional<CMTimeRange>& range,
                OutputMovie& output)
        : input_(source),
          track_(track),
          video_(input_.videoTrack() == track.from),
          range_(TickRange::of(range, output.timeBase(track.to))),
          output_(output) {
        input_.select({track.from});
        if (!range) return;
        const double lead = video_ ? 0 : soundLeadIn;
        input_.seek(std::max(range->start.seconds() - lead, 0.0));
        leadIn_ = static_cast<std::int64_t>(std::llround(lead / av_q2d(output.timeBase(track.to))));
    }

    void run() {
        while (OwnedPacket packet = next()) {
            if (packet->dts >= range_.end) break;
            take(std::move(packet));
        }
        writeHeld();
        output_.end(track_.to);
    }

 private:
    OwnedPacket next() {
        OwnedPacket packet = makePacket();
        if (!input_.read(*packet)) return nullptr;
        const AVRational from = input_.stream(track_.from).time_base;
        av_packet_rescale_ts(packet.get(), from, output_.timeBase(track_.to));
        if (packet->dts == AV_NOPTS_VALUE) packet->dts = packet->pts;
        if (packet->pts == AV_NOPTS_VALUE) packet->pts = packet->dts;
        if (packet->pts == AV_NOPTS_VALUE) input_.fail(localized("it tells no times."));
        return packet;
    }

    /// What lies before the start is held until it is known which of it is shown at the start.
    void take(OwnedPacket packet) {
        const bool before = packet->pts <= range_.start && range_.start > 0;
        if (!before) {
            writeHeld();
            return write(*packet);
        }
        if (!video_) {
            if (packet->pts + packet->duration + leadIn_ > range_.start) write(*packet);
            return;
        }
        if (packet->pts != packet->dts) reordered_ = true;
        held_.push_back(std::move(packet));
    }

    void writeHeld() {
        std::int64_t left = static_cast<std::int64_t>(held_.size());
        for (OwnedPacket& packet : held_) {
            --left;
            if (!reordered_) {
                // In ticks before the start, of which the last picture has none.
                const std::int64_t end = packet->pts + packet->duration;
                packet->pts = packet->dts = range_.start - left;
                packet->duration = left > 0 ? 1 : std::max<std::int64_t>(end - range_.start, 1);
            }
            write(*packet);
        }
        held_.clear();
    }

    void write(AVPacket& packet) {
        packet.duration = std::min(packet.duration, range_.end - packet.pts);
        packet.pts -= range_.start;
        packet.dts -= range_.start;
        output_.write(track_.to, packet);
    }

    InputMovie input_;
    TrackPair track_;
    bool video_;
    TickRange range_;
    std::int64_t leadIn_ = 0;
    OutputMovie& output_;
    std::deque<OwnedPacket> held_;
    bool reordered_ = false;
};

}  // namespace

void copyTrack(const std::filesystem::path& source, TrackPair track, const std::optional<CMTimeRange>& range,
               OutputMovie& output) {
    TrackCopier(source, track, range, output).run();
}

}  // namespace lumicrate::media
