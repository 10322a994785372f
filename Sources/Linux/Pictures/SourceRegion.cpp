// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/SourceRegion.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::pictures {

namespace {

/// The largest coordinate of an X server's root window, and more than any other screen has.
constexpr double maxCoordinate = 32767;

int nearestPixel(double points, double scale, double minimum) {
    return static_cast<int>(std::lround(std::clamp(points * scale, minimum, maxCoordinate)));
}

}  // namespace

PixelRect sourceRegion(const PixelRect& content, const std::optional<Rect>& sourceRect, double scale) {
    if (!sourceRect || sourceRect->isEmpty()) return content;
    return PixelRect{nearestPixel(sourceRect->x, scale, -maxCoordinate),
                     nearestPixel(sourceRect->y, scale, -maxCoordinate),
                     nearestPixel(sourceRect->width, scale, 1), nearestPixel(sourceRect->height, scale, 1)}
        .offsetBy(content.x, content.y);
}

std::vector<PixelRect> coveredPixels(const std::vector<Rect>& covers, const std::optional<Rect>& sourceRect,
                                     double scale) {
    const PixelRect region = sourceRegion({}, sourceRect, scale);
    std::vector<PixelRect> pixels;
    for (const Rect& each : covers) {
        const Rect whole = each.scaledBy(scale).integral();
        pixels.push_back(PixelRect{static_cast<int>(whole.x), static_cast<int>(whole.y),
                                   static_cast<int>(whole.width), static_cast<int>(whole.height)}
                             .offsetBy(-region.x, -region.y));
    }
    return pixels;
}

}  // namespace lumicrate::pictures
