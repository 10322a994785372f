// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Assignment.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumicrate::bench {

std::optional<int> linesOfQuality(const std::string& quality) {
    if (quality == "native") return std::numeric_limits<int>::max();
    if (quality == "p1080") return 1080;
    if (quality == "p720") return 720;
    return std::nullopt;
}

PixelSize Assignment::pictureSize() const {
    const int lines = linesOfQuality(setting.quality).value_or(frame.height);
    if (frame.height <= lines) return {frame.width, frame.height};
    return {static_cast<int>(std::lround(1.0 * frame.width * lines / frame.height)), lines};
}

std::int64_t Assignment::bitRate() const {
    constexpr double bitsPerPixel = 0.12;
    constexpr double least = 1'000'000;
    const auto [width, height] = pictureSize();
    const std::int64_t pixelRate = std::int64_t{width} * height * setting.framesPerSecond;
    return static_cast<std::int64_t>(std::max(bitsPerPixel * static_cast<double>(pixelRate), least));
}

}  // namespace lumicrate::bench
