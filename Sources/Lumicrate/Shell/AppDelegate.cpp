// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/AppDelegate.h"

#include "Support/Log.h"

#include <utility>

namespace lumicrate {

void AppDelegate::applicationShouldTerminate(std::function<void()> terminate) {
    using State = ScreenRecorder::State;
    if (isTerminating()) return;
    const State state = *recorder_.state;
    // While the user chooses what to record there is nothing to save.
    if (state == State::idle || state == State::selectingArea) return terminate();
    log(LogArea::recorder, "quit requested: saving the recording first");
    ending_ = RunningTask(executor_, saveAndTerminate(std::move(terminate)));
}

Task<void> AppDelegate::saveAndTerminate(std::function<void()> terminate) {
    Task<void> stopping = recorder_.stop();
    co_await stopping;
    // Posted, because `terminate` may destroy this task.
    executor_.post(std::move(terminate));
}

}  // namespace lumicrate
