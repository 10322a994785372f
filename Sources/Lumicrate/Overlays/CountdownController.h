// CountdownController: counts down in the middle of a screen before a recording begins.
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
    /// "⌥⌘R to cancel"; empty where no shortcut cancels.
    std::string cancelHint;
};

/// Nothing is there between two runs. Main thread only.
class CountdownController final {
 public:
    /// All must outlive the controller.
    CountdownController(Executor& executor, const NSScreens& screens, const NSUserDefaults& defaults,
                        OverlayContents& contents);

    /// True when the countdown reached its end, or else the result that finish() gave it. Cancels a run that
    /// is in progress. Destroying the task removes the panel.
    Task<bool> run(int seconds, std::optional<NSScreen> screen);
    /// Takes the panel away at once and gives the run in progress that result; without one, does nothing.
    void finish(bool result);

 private:
    class EndOfRun;

    void begin(int seconds, std::optional<NSScreen> screen);
    Task<void> tick(int seconds);

    Executor& executor_;
    const NSScreens& screens_;
    const NSUserDefaults& defaults_;
    OverlayContents& contents_;
    CountdownModel model_;
    std::unique_ptr<NSPanel> panel_;
    std::optional<Completion<bool>> continuation_;
    std::uint64_t runs_ = 0;
    RunningTask task_;
};

}  // namespace lumicrate
