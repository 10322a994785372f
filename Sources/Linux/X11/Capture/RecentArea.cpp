// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/RecentArea.h"

#include <algorithm>
#include <cstddef>

namespace lumicrate::x11 {

namespace {

/// Rectangles whose expiry differs by less than this are joined.
constexpr std::chrono::milliseconds partDuration(60);
constexpr std::size_t maxParts = 64;

}  // namespace

void RecentArea::add(const PixelRect& rect, Time until) {
    if (rect.isEmpty()) return;
    std::erase_if(parts_, [&](const Part& part) { return part.rect.intersection(rect) == part.rect; });
    const auto near = std::find_if(parts_.begin(), parts_.end(), [&](const Part& part) {
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

void RecentArea::expire(Time now) {
    std::erase_if(parts_, [now](const Part& part) { return part.until <= now; });
}

std::optional<RecentArea::Time> RecentArea::nextExpiry() const {
    std::optional<Time> next;
    for (const Part& part : parts_)
        next = std::min(next.value_or(part.until), part.until);
    return next;
}

std::vector<PixelRect> RecentArea::rectangles() const {
    std::vector<PixelRect> rects;
    rects.reserve(parts_.size());
    for (const Part& part : parts_)
        rects.push_back(part.rect);
    return rects;
}

}  // namespace lumicrate::x11
