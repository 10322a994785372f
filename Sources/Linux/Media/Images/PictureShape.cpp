// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/PictureShape.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace lumicrate::media {

namespace {

int pixels(double extent, double maximum) {
    const double most = std::max(std::floor(maximum), 1.0);
    return static_cast<int>(std::clamp(std::round(extent), 1.0, most));
}

}  // namespace

Orientation orientationOf(std::span<const std::int32_t> displayMatrix) {
    constexpr std::size_t matrixLength = 9;
    if (displayMatrix.size() != matrixLength) return {};
    // Shown x = a · x + c · y, shown y = b · x + d · y.
    const std::int64_t a = displayMatrix[0], b = displayMatrix[1];
    const std::int64_t c = displayMatrix[3], d = displayMatrix[4];
    const bool swaps = std::abs(b) + std::abs(c) > std::abs(a) + std::abs(d);
    return {swaps, (swaps ? c : a) < 0, (swaps ? b : d) < 0};
}

PixelSize shownSize(PixelSize coded, double pixelAspect, const Orientation& orientation, Size maximum) {
    double width = coded.width * pixelAspect;
    double height = coded.height;
    if (orientation.swapsAxes) std::swap(width, height);
    const double scale = std::min({1.0, maximum.width / width, maximum.height / height});
    return {pixels(width * scale, maximum.width), pixels(height * scale, maximum.height)};
}

}  // namespace lumicrate::media
