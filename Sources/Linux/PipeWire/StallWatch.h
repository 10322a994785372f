// SPDX-License-Identifier: GPL-3.0-or-later
// StallWatch: decides when a screen cast that has stopped is to be requested again.
#pragma once

#include <chrono>
#include <optional>

namespace lumicrate::pipewire {

/// A still screen sends nothing, so silence alone is no fault. A cast is suspected when it was running and
/// has stayed paused, or when the computer has slept; the second is disproved only by a picture, because some
/// casts seem to run on. A suspected cast is first restarted, and reported when that does not help:
///
///     paused at 10 s · restart at 12 s · still paused at 15 s: report
///     woken up at 10 s · no picture at 11 s: restart · no picture at 14 s: report
class StallWatch {
 public:
    using Time = std::chrono::nanoseconds;  ///< host clock
    enum class Action { none, restart, report };

    /// Since when the cast has been paused, after it was running; nothing when it runs.
    void setPausedSince(const std::optional<Time>& since);
    void noteWakeUp(Time now);
    void notePicture() { *this = {}; }

    std::optional<Time> due() const { return due_; }
    /// What is due now. Each action once.
    Action next(Time now);

 private:
    bool isSuspected_ = false;
    bool hasSlept_ = false;  ///< that is why
    bool wasRestarted_ = false;
    std::optional<Time> due_;
};

}  // namespace lumicrate::pipewire
