// ControlBarController: the small bar with elapsed time, pause and stop that floats by a running recording.
#pragma once

#include "Lumicrate/Overlays/ControlBarModel.h"
#include "Lumicrate/Overlays/OverlayContents.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate {

/// Where a bar of that size goes: below the recorded area or, where there is no room, inside it at its
/// bottom; without an area that is visible, at the bottom of the screen. Global coordinates, y up.
Rect controlBarFrame(const Size& bar, const Rect& visibleFrame, const std::optional<Rect>& area);

/// The nearest place at which all of the frame can be seen; it may lie on several screens.
Rect keptOnScreens(const Rect& frame, const std::vector<NSScreen>& screens);

/// At most one bar at a time. Main thread only.
class ControlBarController final {
 public:
    /// All must outlive the controller.
    ControlBarController(const NSScreens& screens, const NSUserDefaults& defaults, OverlayContents& contents)
        : screens_(screens), defaults_(defaults), contents_(contents) {}

    /// Whose recordings the bar shows; no bar is shown without one. A recorder that goes is to be taken away
    /// here before.
    void setRecorder(ScreenRecorder* recorder);

    /// Shows the bar below the recorded area (global, y up), or at the bottom of the screen without one.
    void show(std::optional<NSScreen> screen, std::optional<Rect> below);
    void hide();
    /// Points, y up. No effect while the bar is hidden.
    void moveBy(double dx, double dy);
    /// None while the bar is hidden.
    std::optional<std::uint32_t> windowNumber() const;

 private:
    void moveTo(Point origin);

    const NSScreens& screens_;
    const NSUserDefaults& defaults_;
    OverlayContents& contents_;
    ScreenRecorder* recorder_ = nullptr;
    std::unique_ptr<ControlBarModel> model_;
    std::unique_ptr<NSPanel> panel_;
    /// Where the bar would be if the screens had no edges: it comes back from where a window pushed it.
    Point origin_;
};

}  // namespace lumicrate
