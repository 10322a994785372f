// AppDelegate: keeps a quit from cutting a recording short.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>

namespace lumicrate {

/// Main thread only.
class AppDelegate {
 public:
    /// Both must outlive it.
    AppDelegate(Executor& executor, ScreenRecorder& recorder) : executor_(executor), recorder_(recorder) {}

    /// Calls `terminate` when nothing would be lost: at once, or when the recording under way has been
    /// stopped and saved. Asked again meanwhile, it goes on with what it does.
    void applicationShouldTerminate(std::function<void()> terminate);
    /// Whether a recording is being saved before the program ends.
    bool isTerminating() const { return ending_.isRunning(); }

 private:
    Task<void> saveAndTerminate(std::function<void()> terminate);

    Executor& executor_;
    ScreenRecorder& recorder_;
    RunningTask ending_;
};

}  // namespace lumicrate
