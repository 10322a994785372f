#include "Lumicrate/Shell/AppDelegate.h"

#include <utility>

namespace lumicrate {

void AppDelegate::applicationShouldTerminate(std::function<void()> terminate) {
    using State = ScreenRecorder::State;
    if (isTerminating()) return;
    const State state = *recorder_.state;
    // A chooser that waits for the user has nothing to save.
    if (state == State::idle || state == State::selectingArea) return terminate();
    ending_ = RunningTask(executor_, saveAndTerminate(std::move(terminate)));
}

Task<void> AppDelegate::saveAndTerminate(std::function<void()> terminate) {
    Task<void> stopping = recorder_.stop();
    co_await stopping;
    // Whoever terminates may take this task's owner with him.
    executor_.post(std::move(terminate));
}

}  // namespace lumicrate
