// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/CaptureContent.h"

#include "Linux/Pictures/SourceRegion.h"

namespace lumicrate::x11 {

namespace {

constexpr std::size_t maxReads = 16;

}  // namespace

pictures::BlockRegion SourceGeometry::blocksIn(const std::vector<PixelRect>& onRoot) const {
    pictures::BlockRegion blocks(region.width, region.height);
    for (const PixelRect& rect : onRoot)
        blocks.add(toSource(rect.intersection(readable)));
    return blocks;
}

std::vector<PixelRect> SourceGeometry::rectanglesOnRoot(const pictures::BlockRegion& blocks) const {
    std::vector<PixelRect> onRoot;
    for (const PixelRect& rect : blocks.rectangles(maxReads)) {
        const PixelRect there = rect.offsetBy(region.x, region.y).intersection(readable);
        if (!there.isEmpty()) onRoot.push_back(there);
    }
    return onRoot;
}

SourceGeometry sourceGeometry(const PixelRect& display, const PixelRect& root,
                              const std::optional<Rect>& sourceRect, double scale) {
    SourceGeometry geometry;
    geometry.region = pictures::sourceRegion(display, sourceRect, scale);
    geometry.readable = geometry.region.intersection(display).intersection(root);
    return geometry;
}

ScreenContent::ScreenContent(const Connection& connection)
    : root_(connection.root()), damage_(connection, root_) {}

void ScreenContent::prepare(const SourceGeometry& geometry, pictures::BlockRegion& /*unread*/) {
    geometry_ = geometry;
}

void ScreenContent::collectDamage(pictures::BlockRegion& unread) {
    unread.add(geometry_.blocksIn(damage_.collect()));
}

std::vector<PixelRead> ScreenContent::plan(const pictures::BlockRegion& unread) {
    planned_ = geometry_.rectanglesOnRoot(unread);
    std::vector<PixelRead> reads;
    for (const PixelRect& rect : planned_)
        reads.push_back({rect, root_, 0, 0});
    return reads;
}

}  // namespace lumicrate::x11
