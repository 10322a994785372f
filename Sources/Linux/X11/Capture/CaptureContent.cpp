#include "Linux/X11/Capture/CaptureContent.h"

namespace lumicrate::x11 {

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
