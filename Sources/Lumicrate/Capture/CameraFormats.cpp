// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/CameraFormats.h"

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace lumicrate {

namespace {

constexpr double smoothRate = 24;
constexpr double tolerableRate = 12;
/// Tolerates 23.976 for 24.
constexpr double rateTolerance = 0.5;
constexpr int minSide = 16;
constexpr int maxSide = CameraFormat::maxSide;

bool isUsable(const CameraFormat& format) {
    const auto [width, height] = format.size;
    return std::min(width, height) >= minSide && std::max(width, height) <= maxSide && format.rate > 0;
}

/// Compares lower for a better format.
auto rankOf(const CameraFormat& format, PixelSize wantedSize, double wantedRate) {
    const auto reaches = [&](double rate) { return format.rate + rateTolerance >= rate; };
    const int slowness = reaches(std::min(smoothRate, wantedRate)) ? 0 : reaches(tolerableRate) ? 1 : 2;
    const bool isSmall = format.size.width < wantedSize.width || format.size.height < wantedSize.height;
    const std::int64_t area = std::int64_t{format.size.width} * format.size.height;
    const bool isTooSlow = !reaches(wantedRate);
    return std::tuple(slowness, isSmall, isSmall ? -area : area, format.isCompressed(), isTooSlow,
                      isTooSlow ? -format.rate : format.rate);
}

}  // namespace

std::optional<std::size_t> chooseCameraFormat(std::span<const CameraFormat> offered, PixelSize wantedSize,
                                              double wantedRate) {
    std::optional<std::size_t> best;
    for (std::size_t i = 0; i < offered.size(); ++i) {
        if (!isUsable(offered[i])) continue;
        if (!best ||
            rankOf(offered[i], wantedSize, wantedRate) < rankOf(offered[*best], wantedSize, wantedRate))
            best = i;
    }
    return best;
}

}  // namespace lumicrate
