// ClickHighlighter: flashes a ring wherever the user clicks on the recorded screen.
#pragma once

#include "Lumicrate/Overlays/ClickFlashes.h"
#include "Lumicrate/Overlays/OverlayContents.h"
#include "Platform/NSEvent.h"
#include "Support/Executor.h"
#include "Support/Published.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate {

/// What the panel shows: rings in its own coordinates, y up from its bottom-left corner.
struct ClickRings {
    Published<std::vector<ClickRing>> rings;
};

/// One panel, so that capture knows the rings by one number: a speck while nothing is clicked, and as large
/// as the rings while they spread. Only then a timer runs. Main thread only.
class ClickHighlighter final {
 public:
    /// All must outlive the highlighter.
    ClickHighlighter(Executor& executor, const NSScreens& screens, NSMouseMonitoring& mouse,
                     OverlayContents& contents);
    ~ClickHighlighter();
    ClickHighlighter(const ClickHighlighter&) = delete;
    ClickHighlighter& operator=(const ClickHighlighter&) = delete;

    void show(NSScreen screen);
    void hide();
    /// None while hidden.
    std::optional<std::uint32_t> windowNumber() const;

 private:
    void flash(bool secondary);
    void step();
    void placePanel(const std::vector<ClickRing>& rings);

    Executor& executor_;
    const NSScreens& screens_;
    NSMouseMonitoring& mouse_;
    OverlayContents& contents_;
    NSScreen screen_;
    ClickFlashes flashes_;
    ClickRings model_;
    std::unique_ptr<NSPanel> panel_;
    std::unique_ptr<NSEventMonitor> monitor_;
    std::optional<Executor::TimerId> nextFrame_;
};

}  // namespace lumicrate
