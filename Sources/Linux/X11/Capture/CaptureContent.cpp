// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/CaptureContent.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::x11 {

namespace {

/// The largest coordinate of a root window.
constexpr double maxCoordinate = 32767;
constexpr std::size_t maxReads = 16;

int wholePixels(double points, double scale, double minimum) {
    return static_cast<int>(std::lround(std::clamp(points * scale, minimum, maxCoordinate)));
}

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
    geometry.region = display;
    if (sourceRect && !sourceRect->isEmpty()) {
        geometry.region =
            PixelRect{wholePixels(sourceRect->x, scale, -maxCoordinate),
                      wholePixels(sourceRect->y, scale, -maxCoordinate),
                      wholePixels(sourceRect->width, scale, 1), wholePixels(sourceRect->height, scale, 1)}
                .offsetBy(display.x, display.y);
    }
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
