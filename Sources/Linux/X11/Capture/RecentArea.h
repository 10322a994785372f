// SPDX-License-Identifier: GPL-3.0-or-later
// RecentArea: where something was visible a short while ago.
#pragma once

#include "Support/Geometry.h"

#include <chrono>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// Overlapping rectangles that are added in quick succession are joined, so the area may be larger than what
/// was added, but never smaller. Example: a dragged window adds a rectangle with every step; its trail is
/// kept as a few dozen rectangles.
class RecentArea {
 public:
    using Time = std::chrono::nanoseconds;

    /// Adds a rectangle until that time. Times must not decrease.
    void add(const PixelRect& rect, Time until);
    /// Removes what has expired.
    void expire(Time now);
    /// When the next part expires.
    std::optional<Time> nextExpiry() const;
    std::vector<PixelRect> rectangles() const;

 private:
    struct Part {
        PixelRect rect;
        Time first;  ///< expiry of the first rectangle
        Time until;  ///< expiry of the last one
    };

    std::vector<Part> parts_;  ///< oldest first
};

}  // namespace lumicrate::x11
