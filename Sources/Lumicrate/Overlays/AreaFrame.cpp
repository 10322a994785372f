#include "Lumicrate/Overlays/AreaFrame.h"

#include <utility>

namespace lumicrate {

namespace {

/// Keeps the line out of the recorded pixels.
constexpr double distance = 4;

}  // namespace

void AreaFrame::show(Rect around, NSScreen screen) {
    hide();
    NSPanel::Settings settings;
    settings.frame = {screen.frame.minX() + around.minX() - distance,
                      screen.frame.maxY() - around.maxY() - distance, around.width + 2 * distance,
                      around.height + 2 * distance};
    settings.ignoresMouseEvents = true;
    panel_ = contents_.areaFrame()->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
}

std::optional<std::uint32_t> AreaFrame::windowNumber() const {
    return panel_ ? std::optional(panel_->windowNumber()) : std::nullopt;
}

}  // namespace lumicrate
