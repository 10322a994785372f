// AreaFrame: shows what part of a screen is being recorded, by a dashed line just outside of it.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace lumicrate {

/// Main thread only.
class AreaFrame final : public AreaFraming {
 public:
    /// `contents` must outlive the frame.
    explicit AreaFrame(OverlayContents& contents) : contents_(contents) {}

    void show(Rect around, NSScreen screen) override;
    void hide() override { panel_.reset(); }
    std::optional<std::uint32_t> windowNumber() const override;

 private:
    OverlayContents& contents_;
    std::unique_ptr<NSPanel> panel_;
};

}  // namespace lumicrate
