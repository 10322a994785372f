// SPDX-License-Identifier: GPL-3.0-or-later
// ClickHighlighter: shows a ring that spreads and fades wherever the user clicks on the recorded screen.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Platform/NSEvent.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace lumicrate {

/// One ring at one instant. Points.
struct ClickRing {
    Point center;
    double diameter = 0;  ///< of the centre line
    double lineWidth = 0;
    double opacity = 0;  ///< 0 … 1, of the line and the filling
    bool secondary = false;
    bool operator==(const ClickRing&) const = default;
};

/// What the panel shows: rings in the panel's own coordinates, y up from its bottom left corner.
struct ClickRings {
    Published<std::vector<ClickRing>> rings;
};

/// Uses one panel for all rings, so that capture knows them by one window number. The panel is a single point
/// while nothing is clicked, and as large as the rings while they spread. A timer runs only during that time.
/// Main thread only.
class ClickHighlighter final {
 public:
    /// All must outlive the highlighter.
    ClickHighlighter(Executor& executor, const NSScreens& screens, NSMouseMonitoring& mouse,
                     OverlayContents& contents);
    ~ClickHighlighter();
    ClickHighlighter(const ClickHighlighter&) = delete;
    ClickHighlighter& operator=(const ClickHighlighter&) = delete;

    void show(NSScreen screen);
    /// The screen that clicks are highlighted on has changed.
    void setScreen(NSScreen screen) { screen_ = std::move(screen); }
    void hide();
    /// Rings then appear at full size and disappear at once.
    void setReducedMotion(bool reduced) { isMotionReduced_ = reduced; }
    /// None while hidden.
    std::optional<std::uint32_t> windowNumber() const { return windowNumberOf(panel_); }

 private:
    struct Click {
        Point at;
        bool secondary;
        std::chrono::nanoseconds time;
    };

    void clicked(bool secondary);
    void update();
    /// In global coordinates, the oldest first. Forgets clicks whose ring has faded.
    std::vector<ClickRing> currentRings();
    void resizePanel(const std::vector<ClickRing>& rings);

    Executor& executor_;
    const NSScreens& screens_;
    NSMouseMonitoring& mouse_;
    OverlayContents& contents_;
    NSScreen screen_;
    bool isMotionReduced_ = false;
    std::vector<Click> clicks_;
    ClickRings model_;
    std::unique_ptr<NSPanel> panel_;
    std::unique_ptr<NSEventMonitor> monitor_;
    std::optional<Executor::TimerId> nextUpdate_;
};

}  // namespace lumicrate
