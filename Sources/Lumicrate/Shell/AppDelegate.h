// SPDX-License-Identifier: GPL-3.0-or-later
// AppDelegate: saves a running recording before the program quits.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>

namespace lumicrate {

/// Main thread only.
class AppDelegate {
 public:
    /// Both must outlive this object.
    AppDelegate(Executor& executor, ScreenRecorder& recorder) : executor_(executor), recorder_(recorder) {}

    /// Stops and saves a running recording, then calls `terminate`; without one, calls it at once. Further
    /// calls are ignored while a recording is being saved.
    void applicationShouldTerminate(std::function<void()> terminate);
    /// Whether a recording is being saved before termination.
    bool isTerminating() const { return ending_.isRunning(); }

 private:
    Task<void> saveAndTerminate(std::function<void()> terminate);

    Executor& executor_;
    ScreenRecorder& recorder_;
    RunningTask ending_;
};

}  // namespace lumicrate
