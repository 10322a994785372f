// PauseTimeline: the stretches of a recording that are left out of its movie.
#pragma once

#include "Support/MediaTime.h"

#include <optional>
#include <vector>

namespace lumicrate {

/// Pauses in the order they happened, in the clock that samples are stamped with. Exact; one thread.
class PauseTimeline {
 public:
    /// Begins a pause; ignored while one is in progress.
    void pause(CMTime at);
    /// Ends the pause in progress; ignored without one.
    void resume(CMTime at);

    /// The start of the pause in progress.
    const std::optional<CMTime>& pausedAt() const { return pausedAt_; }
    /// How much earlier an instant comes in the movie than it was captured: the length of all pauses that had
    /// ended by `time`. Nothing for an instant inside a pause; a pause's start is inside it, its end is not.
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
