// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumicrate::stage {

namespace {

// BT.709's weights of red and blue in the luma.
constexpr double weightRed = 0.2126;
constexpr double weightBlue = 0.0722;
constexpr double weightGreen = 1 - weightRed - weightBlue;

int toByte(double value) {
    return std::clamp(static_cast<int>(std::lround(value * 255)), 0, 255);
}

}  // namespace

int Rgb::distanceTo(const Rgb& other) const {
    return std::max({std::abs(red - other.red), std::abs(green - other.green), std::abs(blue - other.blue)});
}

Rgb rgbFromBt709(int y, int cb, int cr) {
    const double luma = (y - 16) / 219.0;
    const double red = luma + 2 * (1 - weightRed) * (cr - 128) / 224.0;
    const double blue = luma + 2 * (1 - weightBlue) * (cb - 128) / 224.0;
    const double green = (luma - weightRed * red - weightBlue * blue) / weightGreen;
    return {toByte(red), toByte(green), toByte(blue)};
}

int lumaOfBt709(const Rgb& color) {
    const double luma = (weightRed * color.red + weightGreen * color.green + weightBlue * color.blue) / 255;
    return static_cast<int>(std::lround(16 + 219 * luma));
}

Rgb Picture::rgbAt(int x, int y) const {
    if (isRgb) return {planes[0].at(x, y), planes[1].at(x, y), planes[2].at(x, y)};
    const auto chroma = [&](const Plane& plane) {
        return plane.at(x * plane.width / width, y * plane.height / height);
    };
    return rgbFromBt709(planes[0].at(x, y), chroma(planes[1]), chroma(planes[2]));
}

}  // namespace lumicrate::stage
