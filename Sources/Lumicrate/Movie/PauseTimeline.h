// SPDX-License-Identifier: GPL-3.0-or-later
// PauseTimeline: the pauses of a recording and what they do to the times of its samples.
#pragma once

#include "Support/MediaTime.h"

#include <optional>
#include <vector>

namespace lumicrate {

/// The pauses of a recording, which are cut out of its movie. Times are those of the samples. Exact; one
/// thread.
///
/// For example, after pause(10 s) and resume(15 s), offset(8 s) is 0 s, offset(12 s) is none, and offset(20
/// s) is 5 s: a sample captured at 20 s is shown at 15 s.
class PauseTimeline {
 public:
    /// Begins a pause; ignored while one is in progress.
    void pause(CMTime at);
    /// Ends the pause in progress; ignored without one.
    void resume(CMTime at);

    /// The start of the pause in progress.
    const std::optional<CMTime>& pausedAt() const { return pausedAt_; }
    /// How much earlier a sample of that time is shown than it was captured: the total length of the pauses
    /// that ended by then. None for a time inside a pause, from its start up to but not including its end.
    std::optional<CMTime> offset(CMTime time) const;

 private:
    struct Pause {
        CMTime start;
        CMTime end;
    };

    std::vector<Pause> pauses_;
    std::optional<CMTime> pausedAt_;
};

}  // namespace lumicrate
