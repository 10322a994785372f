// SPDX-License-Identifier: GPL-3.0-or-later
// AppDelegate: saves a running recording before the program quits.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Executor.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <functional>
#include <utility>

namespace lumicrate {

/// Main thread only.
class AppDelegate {
 public:
    /// Both must outlive this object.
    AppDelegate(Executor& executor, ScreenRecorder& recorder) : executor_(executor), recorder_(recorder) {}

    /// Stops and saves a running recording, then calls `terminate`; without one, calls it at once. Further
    /// calls are ignored while a recording is being saved.
    void applicationShouldTerminate(std::function<void()> terminate) {
        using State = ScreenRecorder::State;
        if (isTerminating()) return;
        const State state = *recorder_.state;
        // While the user chooses what to record there is nothing to save.
        if (state == State::idle || state == State::selectingArea) return terminate();
        log(LogArea::recorder, "quit requested: saving the recording first");
        ending_ = RunningTask(executor_, saveAndTerminate(std::move(terminate)));
    }
    /// Whether a recording is being saved before termination.
    bool isTerminating() const { return ending_.isRunning(); }

 private:
    Task<void> saveAndTerminate(std::function<void()> terminate) {
        Task<void> stopping = recorder_.stop();
        co_await stopping;
        // Posted, because `terminate` may destroy this task.
        executor_.post(std::move(terminate));
    }

    Executor& executor_;
    ScreenRecorder& recorder_;
    RunningTask ending_;
};

}  // namespace lumicrate
