#include "Linux/X11/Capture/LingeringArea.h"

#include <algorithm>
#include <cstddef>

namespace lumicrate::x11 {

namespace {

constexpr std::chrono::milliseconds partDuration(60);
constexpr std::size_t mostParts = 64;

}  // namespace

void LingeringArea::add(const PixelRect& rect, Time until) {
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
    if (parts_.size() <= mostParts) return;
    parts_[1].rect = parts_[1].rect.boundingUnion(parts_[0].rect);
    parts_.erase(parts_.begin());
}

void LingeringArea::expire(Time now) {
    std::erase_if(parts_, [now](const Part& part) { return part.until <= now; });
}

std::optional<LingeringArea::Time> LingeringArea::nextExpiry() const {
    std::optional<Time> next;
    for (const Part& part : parts_)
        next = std::min(next.value_or(part.until), part.until);
    return next;
}

std::vector<PixelRect> LingeringArea::rectangles() const {
    std::vector<PixelRect> rects;
    rects.reserve(parts_.size());
    for (const Part& part : parts_)
        rects.push_back(part.rect);
    return rects;
}

}  // namespace lumicrate::x11
