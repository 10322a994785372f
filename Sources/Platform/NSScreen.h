// SPDX-License-Identifier: GPL-3.0-or-later
// NSScreen: the screens on which panels are placed.
#pragma once

#include "Support/Geometry.h"
#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// A screen in global coordinates: points, y upwards, origin at the bottom-left corner of the main screen.
struct NSScreen {
    std::optional<std::uint32_t> displayID;
    Rect frame;
    Rect visibleFrame;  ///< without the desktop's panels and docks
    double backingScaleFactor = 1;
    std::string localizedName;
};

/// Main thread only.
class NSScreens {
 public:
    virtual ~NSScreens() = default;
    /// All screens, the main one first. May be empty.
    virtual std::vector<NSScreen> screens() const = 0;
    /// The pointer, in the coordinates of NSScreen.
    virtual Point mouseLocation() const = 0;
    /// `changed` is called after screens were added, removed, moved, resized or scaled. Without an
    /// implementation they are constant.
    [[nodiscard]] virtual Subscription observe(std::function<void()> /*changed*/) const { return {}; }
};

}  // namespace lumicrate
