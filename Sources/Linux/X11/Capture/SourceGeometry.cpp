#include "Linux/X11/Capture/SourceGeometry.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::x11 {

namespace {

/// Root windows reach no further than this.
constexpr double largest = 32767;
constexpr std::size_t mostReads = 16;

int wholePixels(double points, double scale, double least) {
    return static_cast<int>(std::lround(std::clamp(points * scale, least, largest)));
}

}  // namespace

SourceGeometry sourceGeometry(const PixelRect& display, const PixelRect& root,
                              const std::optional<Rect>& sourceRect, double scale) {
    SourceGeometry geometry;
    geometry.region = display;
    if (sourceRect && !sourceRect->isEmpty()) {
        geometry.region =
            PixelRect{wholePixels(sourceRect->x, scale, -largest),
                      wholePixels(sourceRect->y, scale, -largest), wholePixels(sourceRect->width, scale, 1),
                      wholePixels(sourceRect->height, scale, 1)}
                .offsetBy(display.x, display.y);
    }
    geometry.readable = geometry.region.intersection(display).intersection(root);
    return geometry;
}

std::vector<PixelRect> rectanglesOnRoot(const BlockRegion& blocks, const SourceGeometry& geometry) {
    std::vector<PixelRect> onRoot;
    for (const PixelRect& rect : blocks.rectangles(mostReads)) {
        const PixelRect there =
            rect.offsetBy(geometry.region.x, geometry.region.y).intersection(geometry.readable);
        if (!there.isEmpty()) onRoot.push_back(there);
    }
    return onRoot;
}

}  // namespace lumicrate::x11
