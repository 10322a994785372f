// SPDX-License-Identifier: GPL-3.0-or-later
// AreaFrame: marks the recorded part of a screen by a dashed line just outside of it.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace lumicrate {

/// Main thread only.
class AreaFrame final {
 public:
    /// `contents` must outlive the frame.
    explicit AreaFrame(OverlayContents& contents) : contents_(contents) {}

    /// Frames an area: points of `screen`, y down from its top left corner.
    void show(const Rect& area, const NSScreen& screen) {
        hide();
        NSPanel::Settings settings;
        settings.frame = frameAround(area, screen);
        settings.ignoresMouseEvents = true;
        panel_ = contents_.areaFrame()->makePanel(std::move(settings));
        panel_->orderFrontRegardless();
    }
    /// The same for a frame that is shown, which keeps its window number; no effect while it is hidden.
    void move(const Rect& area, const NSScreen& screen) {
        if (panel_) panel_->setFrame(frameAround(area, screen));
    }
    void hide() { panel_.reset(); }
    /// None while the frame is hidden.
    std::optional<std::uint32_t> windowNumber() const { return windowNumberOf(panel_); }

 private:
    static Rect frameAround(const Rect& area, const NSScreen& screen) {
        // Keeps the line out of the recorded pixels.
        constexpr double distance = 4;
        return {screen.frame.minX() + area.minX() - distance, screen.frame.maxY() - area.maxY() - distance,
                area.width + 2 * distance, area.height + 2 * distance};
    }

    OverlayContents& contents_;
    std::unique_ptr<NSPanel> panel_;
};

}  // namespace lumicrate
