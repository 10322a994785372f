// Finding the screen that something happens on.
#pragma once

#include "Platform/NSScreen.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate {

/// The screen that shows a display, else the main screen, else none.
inline std::optional<NSScreen> screenShowing(const NSScreens& service, std::uint32_t displayID) {
    const std::vector<NSScreen> screens = service.screens();
    const auto found = std::find_if(screens.begin(), screens.end(), [displayID](const NSScreen& each) {
        return each.displayID == displayID;
    });
    if (found != screens.end()) return *found;
    return screens.empty() ? std::nullopt : std::optional(screens.front());
}

/// The display under the pointer, if the pointer is on one.
inline std::optional<std::uint32_t> displayUnderPointer(const NSScreens& service) {
    const Point pointer = service.mouseLocation();
    for (const NSScreen& screen : service.screens()) {
        if (screen.frame.contains(pointer)) return screen.displayID;
    }
    return std::nullopt;
}

}  // namespace lumicrate
