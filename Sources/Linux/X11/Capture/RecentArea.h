// SPDX-License-Identifier: GPL-3.0-or-later
// RecentArea: where something was visible a short while ago.
#pragma once

#include "Support/Geometry.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
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
    void add(const PixelRect& rect, Time until) {
        if (rect.isEmpty()) return;
        std::erase_if(parts_, [&](const Part& part) { return part.rect.intersection(rect) == part.rect; });
        const auto near = std::ranges::find_if(parts_, [&](const Part& part) {
            return until - part.first < partDuration && !part.rect.intersection(rect).isEmpty();
        });
        if (near != parts_.end()) {
            near->rect = near->rect.boundingUnion(rect);
            near->until = until;
            return;
        }
        parts_.push_back({rect, until, until});
        if (parts_.size() <= maxParts) return;
        parts_[1].rect = parts_[1].rect.boundingUnion(parts_[0].rect);
        parts_.erase(parts_.begin());
    }
    /// Removes what has expired.
    void expire(Time now) {
        std::erase_if(parts_, [now](const Part& part) { return part.until <= now; });
    }
    /// When the next part expires.
    std::optional<Time> nextExpiry() const {
        if (parts_.empty()) return std::nullopt;
        return std::ranges::min_element(parts_, {}, &Part::until)->until;
    }
    std::vector<PixelRect> rectangles() const {
        std::vector<PixelRect> rects;
        for (const Part& part : parts_)
            rects.push_back(part.rect);
        return rects;
    }

 private:
    /// Rectangles whose expiry differs by less than this are joined.
    static constexpr std::chrono::milliseconds partDuration{60};
    static constexpr std::size_t maxParts = 64;

    struct Part {
        PixelRect rect;
        Time first;  ///< expiry of the first rectangle
        Time until;  ///< expiry of the last one
    };

    std::vector<Part> parts_;  ///< oldest first
};

}  // namespace lumicrate::x11
