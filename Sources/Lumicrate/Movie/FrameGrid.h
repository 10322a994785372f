// SPDX-License-Identifier: GPL-3.0-or-later
// FrameGrid: which picture a movie with a constant frame rate has at which time.
//
// The movie has one picture at each time start + n ⁄ fps: the latest one captured by then. Pictures wait here
// while the encoder is busy; the newest one displaces those before it, and the picture before them is
// repeated in their places. For example, at 10 pictures a second, with A captured at 0, B at 0.12 and C at
// 0.18 s:
//
//     time      0     0.1   0.2   0.3 …
//     picture   A     A     C     C
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

/// One thread. Times are those of the movie's session; exact.
class FrameGrid {
 public:
    /// `first` is the first picture, which is shown at its own time.
    FrameGrid(const CMSampleBuffer& first, int fps);

    /// Adds a captured picture; one that is not later than the one before is ignored. Returns false if it
    /// displaced one that was waiting for the encoder.
    bool add(const CMSampleBuffer& picture);
    /// The next picture to write, with its time on the grid and its duration; nothing if its time is later
    /// than `until`, by when all pictures must have been added. The same one until advance() is called.
    /// Repeats keep the sequence number.
    std::optional<CMSampleBuffer> next(CMTime until) const;
    /// The picture of next() was written.
    void advance();
    /// The time of the next picture: where the movie ends so far.
    CMTime end() const { return start_ + CMTime(index_, fps_); }

 private:
    CMTime start_;
    int fps_;
    std::int64_t index_ = 0;
    CMSampleBuffer current_;  ///< the picture of end()
    /// The latest picture, if it was captured after end().
    std::optional<CMSampleBuffer> later_;
};

}  // namespace lumicrate
