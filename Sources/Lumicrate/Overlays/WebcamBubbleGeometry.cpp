// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/WebcamBubbleGeometry.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::bubble {

namespace {

double aspectOf(WebcamShape shape) {
    return shape == WebcamShape::rectangle ? 4.0 / 3 : 1;
}

}  // namespace

Size sizeOf(WebcamShape shape, double width) {
    return {width, std::round(width / aspectOf(shape))};
}

double cornerRadius(WebcamShape shape, const Size& size) {
    const double side = std::min(size.width, size.height);
    switch (shape) {
        case WebcamShape::circle:
            return side * 0.5;
        case WebcamShape::rounded:
            return side * 0.18;
        case WebcamShape::rectangle:
            break;
    }
    return 10;
}

double borderWidth(WebcamBorder border) {
    constexpr std::array<double, 4> widths = {0, 2, 4, 8};
    return widths.at(static_cast<std::size_t>(border));
}

Point handleCenter(WebcamShape shape, const Size& size) {
    // Where a quarter of a circle crosses the diagonal of its square: 1 − 1/√2 of the radius.
    constexpr double diagonalInset = 0.2929;
    const double inset = std::max(10.0, cornerRadius(shape, size) * diagonalInset);
    return {size.width - inset, inset};
}

bool isOnHandle(Point place, WebcamShape shape, const Size& size) {
    constexpr double reach = 13;
    const Point center = handleCenter(shape, size);
    return std::hypot(place.x - center.x, place.y - center.y) <= reach;
}

Rect resized(const Rect& start, WebcamShape shape, double dx, double dy) {
    const double delta = (dx - dy * aspectOf(shape)) / 2;
    const double width = std::round(std::clamp(start.width + delta, minWebcamWidth, maxWebcamWidth));
    const Size size = sizeOf(shape, width);
    return {start.minX(), start.maxY() - size.height, size.width, size.height};
}

Rect frameInside(const Rect& area, const Size& size) {
    constexpr double margin = 20;
    const bool fits = area.width >= size.width + 2 * margin && area.height >= size.height + 2 * margin;
    if (!fits) return {area.midX() - size.width / 2, area.midY() - size.height / 2, size.width, size.height};
    return {area.maxX() - size.width - margin, area.minY() + margin, size.width, size.height};
}

LevelPill layoutLevelPill(WebcamShape shape, const Size& size) {
    const double bar = std::max(4.0, std::round(size.width * 0.022));
    const double gap = std::round(bar * 0.75);
    const double padding = 1.5 * bar;
    const double inner = std::max(14.0, std::round(size.height * 0.11));
    // Higher where the outline is narrow at the bottom.
    const double lift =
        std::max(8.0, std::round(size.height * (shape == WebcamShape::rectangle ? 0.06 : 0.09)));

    LevelPill pill;
    const double count = static_cast<double>(pill.bars.size());
    const double width = count * bar + (count - 1) * gap + 2 * padding;
    pill.frame = {(size.width - width) / 2, lift, width, inner + 2 * padding};
    pill.cornerRadius = pill.frame.height / 2;
    double left = pill.frame.minX() + padding;
    double share = 0.4;
    for (Rect& each : pill.bars) {
        const double height = inner * share;
        each = {left, pill.frame.midY() - height / 2, bar, height};
        left += bar + gap;
        share += 0.6 / (count - 1);
    }
    return pill;
}

double barBrightness(std::size_t bar, double level) {
    return std::clamp(level * 5 - static_cast<double>(bar), 0.0, 1.0);
}

double speakingRingWidth(const Size& size, double level) {
    return 4 + level * 0.03 * size.width;
}

double speakingRingOpacity(double level) {
    constexpr double silence = 0.08;
    constexpr double speech = 0.25;
    return std::clamp((level - silence) / (speech - silence), 0.0, 1.0);
}

}  // namespace lumicrate::bubble
