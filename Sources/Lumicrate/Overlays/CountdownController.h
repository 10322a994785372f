// SPDX-License-Identifier: GPL-3.0-or-later
// CountdownController: counts down in the middle of a screen before a recording starts.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate {

/// What a countdown shows.
struct CountdownModel {
    Published<int> value{3};
    /// "⌥⌘R to cancel"; empty if there is no shortcut.
    std::string cancelHint;
};

/// One run at a time. Main thread only.
class CountdownController final {
 public:
    /// All must outlive the controller.
    CountdownController(Executor& executor, const NSScreens& screens, const NSUserDefaults& defaults,
                        OverlayContents& contents);

    /// True when the countdown reached its end, or else the result that finish() gave it. Cancels a run that
    /// is in progress. Destroying the task removes the panel.
    Task<bool> run(int seconds, std::optional<NSScreen> screen);
    /// Removes the panel at once and ends the run in progress with that result. No effect without a run.
    void finish(bool result);

 private:
    void begin(int seconds, std::optional<NSScreen> screen);
    Task<void> tick(int seconds);

    Executor& executor_;
    const NSScreens& screens_;
    const NSUserDefaults& defaults_;
    OverlayContents& contents_;
    CountdownModel model_;
    std::unique_ptr<NSPanel> panel_;
    std::optional<Completion<bool>> result_;
    std::uint64_t runs_ = 0;
    RunningTask task_;
};

}  // namespace lumicrate
