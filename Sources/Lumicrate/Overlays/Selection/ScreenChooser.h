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

/// What the panel over one screen shows, and what it calls. It may be called from a panel's own event
/// handler, and does nothing once something has been chosen.
struct ScreenChoice {
    int number = 1;  ///< by which a key chooses it
    std::string name;
    std::string pixels;               ///< "2560 × 1440"
    std::optional<CGImage> backdrop;  ///< the screen as it was without the panel; none where it can't be read
    std::function<void()> onChoose;
    std::function<void()> onCancel;
};

/// Nothing is there between two choices. Main thread only.
class ScreenChooser final {
 public:
    /// All must outlive the chooser.
    ScreenChooser(Executor& executor, const NSScreens& screens, SCScreenshotManager& pictures,
                  NSKeyMonitoring& keys, OverlayContents& contents);

    /// Ends a choice that is in progress, as cancelled, and begins anew. The panels go when the task is
    /// destroyed, too. None where there is no screen that can be recorded.
    Task<std::optional<std::uint32_t>> choose();
    /// Gives the choice in progress that result, from any handler; without one, does nothing.
    void finish(std::optional<std::uint32_t> displayID);

 private:
    class EndOfChoice;
    struct Screen {
        std::uint32_t displayID = 0;
        Rect frame;
        ScreenChoice model;
        std::unique_ptr<NSPanel> panel;
    };

    void begin();
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
    std::optional<Completion<std::optional<std::uint32_t>>> continuation_;
    std::uint64_t choices_ = 0;
};

}  // namespace lumicrate
