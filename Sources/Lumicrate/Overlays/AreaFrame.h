// AreaFrame: shows what part of a screen is being recorded, by a dashed line just outside of it.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace lumicrate {

/// Main thread only.
class AreaFrame final {
 public:
    /// `contents` must outlive the frame.
    explicit AreaFrame(OverlayContents& contents) : contents_(contents) {}

    /// Frames an area: points of `screen`, y down from its top left corner.
    void show(Rect around, NSScreen screen);
    void hide() { panel_.reset(); }
    /// None while the frame is hidden.
    std::optional<std::uint32_t> windowNumber() const;

 private:
    OverlayContents& contents_;
    std::unique_ptr<NSPanel> panel_;
};

}  // namespace lumicrate
