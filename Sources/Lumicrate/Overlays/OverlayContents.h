// SPDX-License-Identifier: GPL-3.0-or-later
// OverlayContents: what the overlay controllers require of the user interface, and helpers that they share.
#pragma once

#include "Platform/NSPanel.h"
#include "Platform/NSScreen.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace lumicrate {

struct AreaSelection;
class ControlBarModel;
struct ClickRings;
struct CountdownModel;
struct Keystrokes;
struct ScreenChoice;
class WebcamBubbleModel;

/// The content of a panel that does not exist yet.
class OverlayContent {
 public:
    virtual ~OverlayContent() = default;
    /// The preferred size, points.
    virtual Size fittingSize() const = 0;
    /// Creates the panel around the content. Call once.
    virtual std::unique_ptr<NSPanel> makePanel(NSPanel::Settings settings) = 0;
};

/// Creates contents that mirror their models. The models must outlive the contents and their panels. Main
/// thread only.
class OverlayContents {
 public:
    virtual ~OverlayContents() = default;
    virtual std::unique_ptr<OverlayContent> countdown(const CountdownModel& model) = 0;
    virtual std::unique_ptr<OverlayContent> controlBar(ControlBarModel& model) = 0;
    virtual std::unique_ptr<OverlayContent> clickRings(const ClickRings& model) = 0;
    virtual std::unique_ptr<OverlayContent> keystrokes(const Keystrokes& model) = 0;
    /// Handles the mouse.
    virtual std::unique_ptr<OverlayContent> webcamBubble(WebcamBubbleModel& model) = 0;
    /// A dashed line along the inside of the panel's edges.
    virtual std::unique_ptr<OverlayContent> areaFrame() = 0;
    /// Covers a whole screen, with its bars. Handles keys.
    virtual std::unique_ptr<OverlayContent> selection(AreaSelection& model) = 0;
    virtual std::unique_ptr<OverlayContent> screenChoice(ScreenChoice& model) = 0;
};

/// The requested screen, else the main screen, else none.
inline std::optional<NSScreen> screenOrMain(std::optional<NSScreen> requested, const NSScreens& service) {
    if (requested) return requested;
    std::vector<NSScreen> all = service.screens();
    if (all.empty()) return std::nullopt;
    return std::move(all.front());
}

/// The screen of the same display as it is now; none if it was disconnected.
inline std::optional<NSScreen> currentScreen(const NSScreen& known, const NSScreens& service) {
    for (const NSScreen& each : service.screens()) {
        if (each.displayID && each.displayID == known.displayID) return each;
    }
    return std::nullopt;
}

/// None without a panel.
inline std::optional<std::uint32_t> windowNumberOf(const std::unique_ptr<NSPanel>& panel) {
    return panel ? std::optional(panel->windowNumber()) : std::nullopt;
}

/// One run of a controller that shows its overlay for one caller at a time. When the caller stops waiting
/// (its coroutine ends or is destroyed), cleans up, unless a newer run has started by then and owns the
/// overlay.
class RunScope {
 public:
    /// `runs` counts the controller's runs, and must outlive the scope.
    RunScope(std::uint64_t& runs, std::function<void()> cleanUp)
        : runs_(runs), number_(++runs), cleanUp_(std::move(cleanUp)) {}
    ~RunScope() {
        if (isCurrent()) cleanUp_();
    }
    RunScope(const RunScope&) = delete;
    RunScope& operator=(const RunScope&) = delete;

    bool isCurrent() const { return runs_ == number_; }

 private:
    std::uint64_t& runs_;
    std::uint64_t number_;
    std::function<void()> cleanUp_;
};

}  // namespace lumicrate
