// SPDX-License-Identifier: GPL-3.0-or-later
// CountdownController: counts down before a recording starts, in the middle of a screen or in a window.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Lumicrate/Shell/DesktopAbilities.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate {

/// A countdown without a panel of its own: windows of the program show its number. One run at a time. Main
/// thread only.
class InWindowCountdown {
 public:
    explicit InWindowCountdown(Executor& executor) : executor_(executor) {}

    /// The number to show; none while no countdown is running.
    Published<std::optional<int>> value;

    /// True after that many seconds, or else the result that finish() gave it.
    Task<bool> run(int seconds);
    /// Ends the run in progress with that result. No effect without a run.
    void finish(bool result);

 private:
    Task<void> tick(int seconds);

    Executor& executor_;
    std::optional<Completion<bool>> result_;
    RunningTask ticking_;
};

/// What the panel of a countdown shows.
struct CountdownModel {
    Published<int> value{3};
    /// "⌥⌘R to cancel"; empty if there is no shortcut, or the desktop assigns the keys.
    std::string cancelHint;
};

/// One run at a time. Main thread only.
class CountdownController final {
 public:
    /// All must outlive the controller.
    CountdownController(Executor& executor, const NSScreens& screens, const NSUserDefaults& defaults,
                        OverlayContents& contents, const DesktopAbilities& desktop = {});

    /// True when the countdown reached its end, or else the result that finish() gave it. Cancels a run that
    /// is in progress. Destroying the task removes the panel.
    Task<bool> run(int seconds, std::optional<NSScreen> screen);
    /// Removes the panel at once and ends the run in progress with that result. No effect without a run.
    void finish(bool result);

 private:
    void show(int seconds, std::optional<NSScreen> screen);
    void place();

    const NSScreens& screens_;
    const NSUserDefaults& defaults_;
    OverlayContents& contents_;
    DesktopAbilities desktop_;
    InWindowCountdown counting_;
    CountdownModel model_;
    Subscription ticks_;
    std::optional<NSScreen> screen_;  ///< that the panel is shown on
    Subscription screenChanges_;
    std::unique_ptr<NSPanel> panel_;
    std::uint64_t runs_ = 0;
};

}  // namespace lumicrate
