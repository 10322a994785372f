// SPDX-License-Identifier: GPL-3.0-or-later
// MovieFragmenter: turns the samples of a movie's tracks into fragments, at least two a second.
//
// A picture's duration is known only when the next one comes, which on a still screen may take minutes. So
// the last picture of a fragment is written with the duration so far, and that is patched in the file as time
// passes: a reader of the unfinished file finds the whole recording up to then. For example, with pictures at
// 0, 0.3 and 4 s and extendTo() called at 1, 2 and 3 s:
//
//     at 1 s   append  fragment with the pictures at 0 (0.3 s long) and 0.3 s (0.7 s so far)
//     at 2 s   patch   duration 1.7 s
//     at 3 s   patch   duration 2.7 s
//     at 4 s   patch   duration 3.7 s, final
//
// Metadata waits for the next fragment of the others, and its last sample is not extended: readers take it to
// last until the next one.
#pragma once

#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieHead.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// Bytes for the file, and what they change in the list of its samples once they are written.
struct MediaWrite {
    /// Consecutive samples of a track from `offset` on, the first presented at `time`.
    struct Run {
        std::size_t track = 0;
        std::uint64_t offset = 0;
        std::int64_t time = 0;
        std::vector<Sample> samples;
    };
    /// The new duration of the track's last sample so far, which is presented at `time`.
    struct LastDuration {
        std::size_t track = 0;
        std::int64_t time = 0;
        std::uint32_t duration = 0;
    };

    Placed bytes;
    std::vector<Run> runs;
    std::optional<LastDuration> lastDuration;
};

/// Not thread-safe.
class MovieFragmenter {
 public:
    /// Receives the writes in order.
    using Sink = std::function<void(MediaWrite)>;

    /// The first fragment is written at `mediaStart`.
    MovieFragmenter(const MovieDescription& movie, std::uint64_t mediaStart, Sink sink);

    /// Adds a sample, presented at `time`, ticks from the movie's beginning; times of a track must increase.
    /// `duration` is used if it is the track's last sample.
    void add(std::size_t track, std::span<const std::uint8_t> data, std::int64_t time, std::uint32_t duration,
             bool key);
    /// The last picture lasts at least until this second of the movie, unless the next one comes with an
    /// earlier time.
    void extendTo(double second);
    /// Writes the rest. The last sample of each track gets the duration with which it was added.
    void finish();

    /// Where the last fragment written so far ends.
    std::uint64_t end() const { return end_; }

 private:
    /// A track's samples for the next fragment, and its last written sample.
    struct Track {
        struct Written {
            std::uint64_t offset = 0;  ///< of its duration in the file
            std::int64_t time = 0;
            std::uint32_t duration = 0;  ///< the duration in the file
            std::uint32_t declared = 0;  ///< the duration given to add()
        };

        std::uint32_t timescale = 1;
        std::uint32_t leadIn = 0;
        bool video = false;
        bool metadata = false;
        TrackRun pending;
        std::int64_t firstTime = 0;  ///< of the pending samples
        std::int64_t lastTime = 0;
        std::uint32_t declared = 0;  ///< the duration given to add() for the last pending sample
        std::optional<Written> written;

        double seconds(std::int64_t ticks) const {
            return static_cast<double>(ticks) / static_cast<double>(timescale);
        }
    };

    bool isDue() const;
    void flush();
    void extendLastPending(Track& track) const;
    void patchLastWritten(Track& track, std::int64_t end);

    std::vector<Track> tracks_;
    Sink sink_;
    std::uint64_t end_;
    std::uint32_t sequence_ = 0;
    double reached_ = 0;
};

}  // namespace lumicrate::isobmff
