// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Scene/Image.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

/// How far the camera moves from the middle, in pixels.
constexpr int reachX = 400;
constexpr int reachY = 250;

int shade(double value) {
    return std::clamp(static_cast<int>(value), 0, 255);
}

Color blend(Color below, Color above, double share) {
    const auto channel = [&](int shift) {
        const auto from = static_cast<double>(below >> shift & 0xff);
        const auto to = static_cast<double>(above >> shift & 0xff);
        return static_cast<Color>(std::lround(from + (to - from) * share)) << shift;
    };
    return channel(16) | channel(8) | channel(0);
}

}  // namespace

Image::Image(int width, int height, Color color)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), color) {}

Area Image::clipped(const Area& area) const {
    const int left = std::clamp(area.x, 0, width_);
    const int top = std::clamp(area.y, 0, height_);
    return {left, top, std::clamp(area.x + area.width, left, width_) - left,
            std::clamp(area.y + area.height, top, height_) - top};
}

void Image::set(int x, int y, Color color) {
    if (x >= 0 && y >= 0 && x < width_ && y < height_) pixels_[index(x, y)] = color;
}

void Image::fill(const Area& area, Color color) {
    const Area inside = clipped(area);
    for (int y = inside.y; y < inside.y + inside.height; ++y)
        std::fill_n(&pixels_[index(0, y)] + inside.x, inside.width, color);
}

void Image::disc(double centerX, double centerY, double radius, Color color) {
    const int reach = static_cast<int>(radius) + 2;
    const Area inside = clipped(
        {static_cast<int>(centerX) - reach, static_cast<int>(centerY) - reach, 2 * reach + 1, 2 * reach + 1});
    for (int y = inside.y; y < inside.y + inside.height; ++y) {
        for (int x = inside.x; x < inside.x + inside.width; ++x) {
            const double distance = std::hypot(x + 0.5 - centerX, y + 0.5 - centerY);
            const double share = std::clamp(radius - distance + 0.5, 0.0, 1.0);
            if (share > 0) pixels_[index(x, y)] = blend(at(x, y), color, share);
        }
    }
}

void Image::copyFrom(const Image& other, const Area& from, int x, int y) {
    const Area inside = clipped({x, y, from.width, from.height});
    for (int row = inside.y; row < inside.y + inside.height; ++row)
        std::copy_n(other.row(from.y + row - y) + from.x + inside.x - x, inside.width,
                    &pixels_[index(inside.x, row)]);
}

Image paintLandscape(int viewWidth, int viewHeight, Random& random) {
    const int width = viewWidth + 2 * reachX;
    const int height = viewHeight + 2 * reachY;
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            // Soft light, and a fine texture as foliage or cloth has.
            const double light = 110 + 50 * std::sin(x * 0.0031 + 1.3 * std::sin(y * 0.0043));
            const double weave = 14 * std::sin(x * 0.21 + y * 0.05) * std::sin(y * 0.17 - x * 0.03);
            image.set(x, y,
                      color(shade(light + weave + 40 * std::sin(y * 0.0052)), shade(light * 0.9 + weave),
                            shade(200 - light * 0.6 + weave)));
        }
    }
    for (int i = 0; i < 160; ++i) {
        const Color tint = color(random.below(256), random.below(256), random.below(256));
        const int x = random.below(width);
        const int y = random.below(height);
        if (random.below(2) == 0) {
            image.disc(x, y, 12 + random.below(70), tint);
        } else {
            image.fill({x, y, 20 + random.below(140), 20 + random.below(100)}, tint);
        }
    }
    return image;
}

Area cameraView(int step, int viewWidth, int viewHeight) {
    const double turn = step * 0.021;
    return {reachX + static_cast<int>(reachX * std::sin(turn)),
            reachY + static_cast<int>(reachY * std::sin(turn * 1.37 + 0.8)), viewWidth, viewHeight};
}

}  // namespace lumicrate::stage
