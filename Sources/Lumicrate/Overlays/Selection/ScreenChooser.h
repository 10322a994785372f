// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenChooser: lets the user choose one of the screens, with a panel over each of them.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Platform/AVAsset.h"
#include "Platform/NSEvent.h"
#include "Platform/NSScreen.h"
#include "Platform/SCScreenshotManager.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// What the panel over one screen shows, and what it calls. The callbacks may be called from the panel's own
/// event handlers; they have no effect after the choice has ended.
struct ScreenChoice {
    int number = 1;  ///< the digit key that chooses it
    std::string name;
    std::string pixels;  ///< "2560 × 1440"
    std::optional<CGImage>
        backdrop;  ///< a picture of the screen without the panel; none if it cannot be taken
    std::function<void()> onChoose;
    std::function<void()> onCancel;
};

/// One choice at a time. Main thread only.
class ScreenChooser final {
 public:
    /// All must outlive the chooser.
    ScreenChooser(Executor& executor, const NSScreens& screens, SCScreenshotManager& pictures,
                  NSKeyMonitoring& keys, OverlayContents& contents);

    /// The display number of the chosen screen; none when the user cancels, or without a screen that can be
    /// recorded. Cancels a choice in progress. Destroying the task removes the panels.
    Task<std::optional<std::uint32_t>> choose();
    /// Ends the choice in progress with that result. May be called from any event handler. No effect without
    /// a choice.
    void finish(std::optional<std::uint32_t> displayID);

 private:
    struct Screen {
        std::uint32_t displayID = 0;
        Rect frame;
        ScreenChoice model;
        std::unique_ptr<NSPanel> panel;
    };

    void begin(std::vector<std::unique_ptr<Screen>> before = {});
    void screensChanged();
    std::unique_ptr<Screen> describe(const NSScreen& screen, int number);
    void show(Screen& screen);
    bool keyDown(const NSEvent& event);
    void close();

    Executor& executor_;
    const NSScreens& screens_;
    SCScreenshotManager& pictures_;
    NSKeyMonitoring& keys_;
    OverlayContents& contents_;
    std::vector<std::unique_ptr<Screen>> shown_;
    std::unique_ptr<NSEventMonitor> keyMonitor_;
    std::optional<Completion<std::optional<std::uint32_t>>> result_;
    std::uint64_t runs_ = 0;
    Subscription screenChanges_;
};

}  // namespace lumicrate
