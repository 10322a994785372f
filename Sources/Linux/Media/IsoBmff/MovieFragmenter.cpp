// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/MovieFragmenter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace lumicrate::isobmff {

namespace {

/// A fragment is written when either is pending; the bytes limit the memory.
constexpr double fragmentSeconds = 0.5;
constexpr std::size_t fragmentBytes = std::size_t{4} << 20;

std::uint32_t asDuration(std::int64_t ticks) {
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(ticks, 0, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

MovieFragmenter::MovieFragmenter(const MovieDescription& movie, std::uint64_t mediaStart, Sink sink)
    : tracks_(movie.tracks.size()), sink_(std::move(sink)), end_(mediaStart) {
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        tracks_[i].timescale = movie.tracks[i].timescale;
        tracks_[i].leadIn = movie.tracks[i].leadIn;
        tracks_[i].pending.track = i;
        tracks_[i].video = movie.tracks[i].isVideo();
        tracks_[i].metadata = movie.tracks[i].isMetadata();
        tracks_[i].pending.sound = movie.tracks[i].isSound();
    }
}

void MovieFragmenter::add(std::size_t track, std::span<const std::uint8_t> data, std::int64_t time,
                          std::uint32_t duration, bool key) {
    Track& to = tracks_[track];
    std::vector<Sample>& samples = to.pending.samples;
    if (samples.empty()) {
        patchLastWritten(to, time);
        to.written.reset();
        to.firstTime = time;
    } else {
        samples.back().duration = asDuration(time - to.lastTime);
    }
    samples.push_back({static_cast<std::uint32_t>(data.size()), duration, key});
    to.pending.data.insert(to.pending.data.end(), data.begin(), data.end());
    to.lastTime = time;
    to.declared = duration;
    if (!to.metadata) reached_ = std::max(reached_, to.seconds(time));
    if (isDue()) flush();
}

void MovieFragmenter::extendTo(double second) {
    reached_ = std::max(reached_, second);
    if (isDue()) return flush();
    for (Track& track : tracks_) {
        if (track.pending.samples.empty() && track.written)
            patchLastWritten(track, std::llround(reached_ * track.timescale));
    }
}

void MovieFragmenter::finish() {
    for (Track& track : tracks_) {
        if (track.written && track.pending.samples.empty())
            patchLastWritten(track, track.written->time + track.written->declared);
    }
    // Only the durations given with the samples count now.
    reached_ = -std::numeric_limits<double>::infinity();
    flush();
}

bool MovieFragmenter::isDue() const {
    std::size_t bytes = 0;
    double earliest = std::numeric_limits<double>::infinity();
    for (const Track& track : tracks_) {
        if (track.pending.samples.empty()) continue;
        bytes += track.pending.data.size();
        earliest = std::min(earliest, track.seconds(track.firstTime));
    }
    return bytes >= fragmentBytes || reached_ - earliest >= fragmentSeconds;
}

void MovieFragmenter::flush() {
    std::vector<TrackRun> runs;
    for (Track& track : tracks_) {
        if (track.pending.samples.empty()) continue;
        extendLastPending(track);
        track.pending.decodeTime = static_cast<std::uint64_t>(track.firstTime + track.leadIn);
        runs.push_back(std::exchange(track.pending, {track.pending.track, track.pending.sound, 0, {}, {}}));
    }
    if (runs.empty()) return;

    Fragment fragment = makeFragment(++sequence_, runs);
    MediaWrite write;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        Track& track = tracks_[runs[i].track];
        const Fragment::Place& place = fragment.places[i];
        if (track.video) {
            track.written = Track::Written{end_ + *place.lastDuration, track.lastTime,
                                           runs[i].samples.back().duration, track.declared};
        }
        write.runs.push_back({runs[i].track, end_ + place.data, track.firstTime, std::move(runs[i].samples)});
    }
    write.bytes = {end_, std::move(fragment.bytes)};
    end_ += write.bytes.bytes.size();
    sink_(std::move(write));
}

/// The last pending picture has lasted at least until now.
void MovieFragmenter::extendLastPending(Track& track) const {
    if (!track.video) return;
    const double now = std::max(reached_ * track.timescale, static_cast<double>(track.lastTime));
    Sample& last = track.pending.samples.back();
    last.duration = std::max(track.declared, asDuration(std::llround(now) - track.lastTime));
}

/// Patches the duration of the last picture in the file.
void MovieFragmenter::patchLastWritten(Track& track, std::int64_t end) {
    if (!track.written) return;
    Track::Written& last = *track.written;
    const std::uint32_t duration = asDuration(end - last.time);
    if (duration == last.duration) return;
    last.duration = duration;
    BoxWriter bytes;
    bytes.u32(duration);
    sink_({{last.offset, bytes.take()},
           {},
           MediaWrite::LastDuration{track.pending.track, last.time, duration}});
}

}  // namespace lumicrate::isobmff
