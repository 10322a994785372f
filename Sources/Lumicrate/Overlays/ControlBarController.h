// SPDX-License-Identifier: GPL-3.0-or-later
// ControlBarController: shows the small bar with elapsed time, pause and stop during a recording.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// What the control bar shows of the running recording, and what its buttons do. Main thread only.
class ControlBarModel {
 public:
    struct Content {
        std::string elapsed;
        bool showsMicrophone = false;
        bool muted = false;
        float level = 0;  ///< 0 … 1
        std::string microphoneHelp;
        bool canMute = false;
        bool paused = false;
        std::string pauseHelp;
        bool canPause = false;
        bool showsCover = false;  ///< parts of the picture can be covered during pauses
        std::string coverHelp;
        bool canCover = false;
        std::string stopHelp;
        bool canStop = false;
        bool operator==(const Content&) const = default;
    };

    /// Both must outlive the model.
    ControlBarModel(ScreenRecorder& recorder, const NSUserDefaults& defaults);

    Published<Content> content;

    void toggleMicrophoneMute() { recorder_.toggleMicrophoneMute(); }
    void togglePause() { recorder_.togglePause(); }
    void cover() { recorder_.drawCovers(); }
    void stop() { recorder_.requestStop(); }

 private:
    /// Publishes the changed content, unless it is the same.
    void change(const std::function<void(Content&)>& edit);
    void applyState(Content& next, ScreenRecorder::State state) const;
    void updateHelps(Content& next) const;

    ScreenRecorder& recorder_;
    const NSUserDefaults& defaults_;
    std::vector<Subscription> subscriptions_;
};

/// The frame of a bar of that size: below the recorded area or, if there is no room, inside the area at its
/// bottom. Without a visible area, at the bottom of the screen. Global coordinates, y up.
Rect controlBarFrame(const Size& bar, const Rect& visibleFrame, const std::optional<Rect>& area);

/// The frame, moved by the shortest way so that all of it is visible; it may span several screens.
Rect keptOnScreens(const Rect& frame, const std::vector<NSScreen>& screens);

/// At most one bar at a time. Main thread only.
class ControlBarController final {
 public:
    /// All must outlive the controller.
    ControlBarController(const NSScreens& screens, const NSUserDefaults& defaults, OverlayContents& contents)
        : screens_(screens), defaults_(defaults), contents_(contents) {}

    /// The recorder whose recordings the bar shows; null for none, and then no bar is shown. Reset it before
    /// the recorder is destroyed.
    void setRecorder(ScreenRecorder* recorder);

    /// Shows the bar below the recorded area (global, y up), or at the bottom of the screen without one.
    void show(std::optional<NSScreen> screen, std::optional<Rect> below);
    void hide();
    /// Places the bar as show() does, after the screens have changed; where the user has dragged it, it only
    /// stays visible. No effect while the bar is hidden.
    void place(std::optional<NSScreen> screen, std::optional<Rect> below);
    /// Points, y up. No effect while the bar is hidden.
    void moveBy(double dx, double dy);
    /// None while the bar is hidden.
    std::optional<std::uint32_t> windowNumber() const { return windowNumberOf(panel_); }

 private:
    void moveTo(Point origin);

    const NSScreens& screens_;
    const NSUserDefaults& defaults_;
    OverlayContents& contents_;
    ScreenRecorder* recorder_ = nullptr;
    std::unique_ptr<ControlBarModel> model_;
    std::unique_ptr<NSPanel> panel_;
    /// The origin without regard to the screens' edges, so that a bar that was pushed to an edge by a moving
    /// window returns to its place beside the window.
    Point origin_;
    bool isDragged_ = false;  ///< the user has chosen the place
};

}  // namespace lumicrate
