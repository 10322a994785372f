// SPDX-License-Identifier: GPL-3.0-or-later
// InWindowCountdown: a countdown without a panel of its own. Windows of the program show its number.
#pragma once

#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <optional>

namespace lumicrate {

/// One run at a time. Main thread only.
class InWindowCountdown {
 public:
    explicit InWindowCountdown(Executor& executor) : executor_(executor) {}

    /// The number to show; none while no countdown is running.
    Published<std::optional<int>> value;

    /// True after that many seconds, false if it is cancelled before.
    Task<bool> run(int seconds);
    /// Ends the run in progress at once.
    void cancel();

 private:
    Executor& executor_;
    std::optional<Completion<bool>> second_;
};

}  // namespace lumicrate
