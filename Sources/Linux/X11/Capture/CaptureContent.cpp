// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/CaptureContent.h"

#include <algorithm>

namespace lumicrate::x11 {

std::optional<std::chrono::nanoseconds> earliest(
    std::initializer_list<std::optional<std::chrono::nanoseconds>> times) {
    std::optional<std::chrono::nanoseconds> next;
    for (const auto& time : times)
        if (time) next = std::min(next.value_or(*time), *time);
    return next;
}

ScreenContent::ScreenContent(const Connection& connection)
    : root_(connection.root()), damage_(connection, root_) {}

void ScreenContent::prepare(const SourceGeometry& geometry, BlockRegion& /*unread*/) {
    geometry_ = geometry;
}

void ScreenContent::collectDamage(BlockRegion& unread) {
    unread.add(geometry_.blocksIn(damage_.collect()));
}

std::vector<PixelRead> ScreenContent::plan(const BlockRegion& unread) {
    planned_ = geometry_.rectanglesOnRoot(unread);
    std::vector<PixelRead> reads;
    for (const PixelRect& rect : planned_)
        reads.push_back({rect, root_, 0, 0});
    return reads;
}

}  // namespace lumicrate::x11
