// AudioTimeline: lays stamped stretches of sound onto one continuous line of frames.
//
// A sound track is a line without holes, but its pieces come stamped by another clock than the one that
// counted their frames, may be missing, and may begin before the movie does. The timeline says for each piece
// how much of it to use and how: a hole is filled with silence and an overlap cut, both exactly; a small
// deviation, the drift between two clocks, is worked off by making a frame more or less of a piece now and
// then, which nobody hears.
#pragma once

#include "Support/MediaTime.h"

#include <cstdint>

namespace lumicrate::media {

/// What to do with a piece of sound: after `silence` frames of silence, leave out its first `skip` frames and
/// turn the following `take` frames into `make` frames. All of them may be zero.
struct AudioPlacement {
    std::int64_t silence = 0;
    std::int64_t skip = 0;
    std::int64_t take = 0;
    std::int64_t make = 0;
};

/// Not thread-safe; pure.
class AudioTimeline {
 public:
    /// The line begins exactly at `start` and has `sampleRate` frames a second.
    AudioTimeline(CMTime start, int sampleRate) : start_(start), sampleRate_(sampleRate) {}

    /// Places the next piece: `frames` frames at the line's rate, of which the first is stamped `stamp`.
    AudioPlacement place(CMTime stamp, std::int64_t frames);
    /// The silence that is missing for the line to reach `end`, counted as placed; zero where it has.
    std::int64_t padTo(CMTime end);
    /// Frames on the line so far.
    std::int64_t length() const { return length_; }

 private:
    std::int64_t follow(std::int64_t deviation, std::int64_t frames);

    CMTime start_;
    int sampleRate_;
    std::int64_t length_ = 0;
    /// Whether the line ends with sound whose clock is being followed.
    bool following_ = false;
    /// The deviation of the stamps from the line, in frames, freed of the single stamp's jitter.
    double deviation_ = 0;
    /// The part of a frame that is still to be made more (or less).
    double owed_ = 0;
};

}  // namespace lumicrate::media
