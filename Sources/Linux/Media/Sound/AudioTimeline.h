// SPDX-License-Identifier: GPL-3.0-or-later
// AudioTimeline: places timestamped pieces of sound on one continuous sequence of frames.
//
// A sound track has no gaps, but its pieces have timestamps of another clock than the one that counts their
// frames, pieces may be missing, and pieces may begin before the movie. For each piece the timeline decides
// how much of it to use: a gap is filled with silence and an overlap is cut, both exactly; a small deviation,
// the drift between two clocks, is corrected by adding or dropping single frames, which is inaudible.
//
// Example at 48000 Hz: after 480 frames, a piece of 480 frames stamped 960 gets 480 frames of silence first;
// one stamped 481 is taken as it is, and the deviation of one frame is corrected over the next seconds.
#pragma once

#include "Support/MediaTime.h"

#include <cstdint>

namespace lumicrate::media {

/// What to do with a piece of sound: insert `silence` frames of silence, skip the first `skip` frames, and
/// stretch the following `take` frames to `make` frames. All may be zero.
struct AudioPlacement {
    std::int64_t silence = 0;
    std::int64_t skip = 0;
    std::int64_t take = 0;
    std::int64_t make = 0;
};

/// Not thread-safe.
class AudioTimeline {
 public:
    /// Begins exactly at `start`, with `sampleRate` frames a second.
    AudioTimeline(CMTime start, int sampleRate) : start_(start), sampleRate_(sampleRate) {}

    /// Places the next piece: `frames` frames at this rate; `stamp` is the time of the first.
    AudioPlacement place(CMTime stamp, std::int64_t frames);
    /// Returns the frames of silence that are missing up to `end`, and counts them as placed.
    std::int64_t padTo(CMTime end);
    /// Frames so far.
    std::int64_t length() const { return length_; }

 private:
    std::int64_t follow(std::int64_t deviation, std::int64_t frames);

    CMTime start_;
    int sampleRate_;
    std::int64_t length_ = 0;
    /// Whether there is sound whose clock is followed.
    bool following_ = false;
    /// The deviation of the timestamps, in frames, smoothed against jitter.
    double deviation_ = 0;
    /// The correction, in frames, that has not been made yet because it is less than one frame.
    double pending_ = 0;
};

}  // namespace lumicrate::media
