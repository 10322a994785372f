// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/CopiedTracks.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Support/Error.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace lumicrate::media {

namespace {

/// Sound that is copied from before the start, in seconds, so that the decoder has settled at the start.
constexpr double soundLeadIn = 0.05;

enum class From { start, nextKey };

/// Writes the packets of a track, given in file order, that a range needs.
class TrackCopier {
 public:
    /// `input` must outlive it.
    TrackCopier(const InputMovie& input, TrackPair track, const std::optional<CMTimeRange>& range, From from,
                OutputMovie& output)
        : input_(input),
          track_(track),
          video_(input.videoTrack() == track.from),
          skipping_(from == From::nextKey),
          range_(TickRange::of(range, output.timeBase(track.to))),
          leadIn_(std::llround(soundLeadIn / av_q2d(output.timeBase(track.to)))),
          output_(output) {}

    int track() const { return track_.from; }
    /// The range needs no more packets of the track.
    bool isDone() const { return reachedEnd_; }

    void add(OwnedPacket packet) {
        stamp(*packet);
        reachedEnd_ = packet->dts >= range_.end;
        if (reachedEnd_ || (skipping_ && !isNextKey(*packet))) return;
        skipping_ = false;
        take(std::move(packet));
    }

    /// Once, after the last packet.
    void finish() {
        writeHeld();
        // When a picture follows after the end, the last one is shown until the end, whatever its duration.
        if (reachedEnd_ && video_ && last_) last_->duration = range_.end - last_->pts;
        writeLast();
        output_.end(track_.to, range_.end - range_.start);
    }

 private:
    void stamp(AVPacket& packet) const {
        av_packet_rescale_ts(&packet, input_.stream(track_.from).time_base, output_.timeBase(track_.to));
        if (packet.dts == AV_NOPTS_VALUE) packet.dts = packet.pts;
        if (packet.pts == AV_NOPTS_VALUE) packet.pts = packet.dts;
        if (packet.pts == AV_NOPTS_VALUE) input_.fail(localized("its packets have no times."));
    }

    bool isNextKey(const AVPacket& packet) const {
        return (packet.flags & AV_PKT_FLAG_KEY) != 0 && packet.pts > range_.start;
    }

    /// Holds back pictures that are decoded before the start until it is known which one is shown there.
    void take(OwnedPacket packet) {
        const bool before = packet->dts <= range_.start && range_.start > 0;
        if (!before) {
            writeHeld();
            return write(std::move(packet));
        }
        if (!video_) {
            if (packet->pts + packet->duration + leadIn_ > range_.start) write(std::move(packet));
            return;
        }
        reordered_ = reordered_ || packet->pts != packet->dts;
        if ((packet->flags & AV_PKT_FLAG_KEY) != 0 && !reordered_) held_.clear();
        held_.push_back(std::move(packet));
    }

    void writeHeld() {
        // The picture shown at the start begins there.
        AVPacket* shown = nullptr;
        for (const OwnedPacket& packet : held_) {
            if (packet->pts <= range_.start && (!shown || packet->pts > shown->pts)) shown = packet.get();
        }
        if (shown) {
            shown->duration = std::max<std::int64_t>(shown->pts + shown->duration - range_.start, 1);
            shown->pts = range_.start;
        }
        if (!reordered_) compressHeld();
        for (OwnedPacket& packet : held_)
            write(std::move(packet));
        held_.clear();
    }

    /// Gives each hidden picture one tick before the start.
    void compressHeld() {
        std::int64_t left = static_cast<std::int64_t>(held_.size());
        for (const OwnedPacket& packet : held_) {
            --left;
            packet->pts = packet->dts = range_.start - left;
            if (left > 0) packet->duration = 1;
        }
    }

    /// Writes a picture of after the end only when a later one, which needs it, is written.
    void write(OwnedPacket packet) {
        const bool hidden = (packet->flags & AV_PKT_FLAG_DISCARD) != 0 && packet->pts > range_.start;
        if (packet->pts >= range_.end || hidden) {
            packet->duration = 0;
            afterEnd_.push_back(std::move(packet));
            return;
        }
        for (OwnedPacket& each : std::exchange(afterEnd_, {}))
            writeAfterLast(std::move(each));
        packet->duration = std::min(packet->duration, range_.end - packet->pts);
        writeAfterLast(std::move(packet));
    }

    void writeAfterLast(OwnedPacket packet) {
        writeLast();
        last_ = std::move(packet);
    }

    void writeLast() {
        if (!last_) return;
        last_->pts -= range_.start;
        last_->dts -= range_.start;
        output_.write(track_.to, *last_);
        last_.reset();
    }

    const InputMovie& input_;
    TrackPair track_;
    bool video_;
    bool skipping_;
    bool reachedEnd_ = false;
    TickRange range_;
    std::int64_t leadIn_;
    OutputMovie& output_;
    std::vector<OwnedPacket> held_;
    std::vector<OwnedPacket> afterEnd_;
    OwnedPacket last_;
    bool reordered_ = false;
};

/// The time, in seconds, at which reading must start so that every track gets its lead-in.
double readingStart(const InputMovie& input, const std::vector<TrackPair>& tracks, const CMTimeRange& range) {
    const bool sound = std::any_of(tracks.begin(), tracks.end(),
                                   [&](const TrackPair& each) { return input.videoTrack() != each.from; });
    return range.start.seconds() - (sound ? soundLeadIn : 0);
}

void copy(const std::filesystem::path& source, const std::vector<TrackPair>& tracks,
          const std::optional<CMTimeRange>& range, From from, OutputMovie& output) {
    InputMovie input(source, InputMovie::Look::atHead);
    std::vector<int> selected;
    std::vector<TrackCopier> copiers;
    for (const TrackPair& each : tracks) {
        selected.push_back(each.from);
        copiers.emplace_back(input, each, range, from, output);
    }
    input.select(selected);
    // No seek to zero: it would skip what precedes time zero.
    const double start = range ? readingStart(input, tracks, *range) : 0;
    if (start > 0) input.seek(start);
    const auto isDone = [](const TrackCopier& each) { return each.isDone(); };
    while (!std::all_of(copiers.begin(), copiers.end(), isDone)) {
        OwnedPacket packet = makePacket();
        if (!input.read(*packet)) break;
        const auto copier = std::find_if(copiers.begin(), copiers.end(), [&](const TrackCopier& each) {
            return each.track() == packet->stream_index;
        });
        if (!copier->isDone()) copier->add(std::move(packet));
    }
    for (TrackCopier& each : copiers)
        each.finish();
}

}  // namespace

void copyFromNextKey(const std::filesystem::path& source, TrackPair track, const CMTimeRange& range,
                     OutputMovie& output) {
    copy(source, {track}, range, From::nextKey, output);
}

CopiedTracks::CopiedTracks(const InputMovie& source, std::vector<int> tracks,
                           std::optional<CMTimeRange> range)
    : source_(source), path_(source.path()), tracks_(std::move(tracks)), range_(range) {}

void CopiedTracks::write() {
    copy(path_, pairs_, range_, From::start, *movie_);
}

void CopiedTracks::addTo(OutputMovie& movie) {
    movie_ = &movie;
    for (const int track : tracks_) {
        const int copy = movie.addCopy(source_, track, source_.packetCount(track, range_));
        if (asideTitle_) movie.setAside(copy, *asideTitle_);
        pairs_.push_back({track, copy});
    }
}

}  // namespace lumicrate::media