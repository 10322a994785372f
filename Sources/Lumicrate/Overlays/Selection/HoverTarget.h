// HoverTarget: what a click on the selection overlay picks.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

struct HoverTarget {
    Rect rect;  ///< points, y up from the screen's bottom left corner
    std::string title;
    std::optional<std::uint32_t> windowID;  ///< none for the whole screen
    bool operator==(const HoverTarget&) const = default;
};

/// The windows of other processes that can be clicked on a display, front-most first, each with the part of
/// it that lies on the display. `windows` front to back; frames global, points, y down.
std::vector<HoverTarget> hoverTargets(const std::vector<SCWindow>& windows, const Rect& display,
                                      std::int32_t ownProcessID);

}  // namespace lumicrate
