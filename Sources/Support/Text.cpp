// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/Text.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace lumicrate {

std::string localized(std::string_view text) {
    return std::string(text);
}

std::string formatElapsed(double seconds) {
    const std::string clock = formatClock(seconds);
    // "01:02:05": one leading zero of the hours is not shown, and neither are hours that are zero.
    return clock.substr(seconds < 3600 ? 3 : clock.front() == '0' ? 1 : 0);
}

std::string formatClock(double seconds) {
    if (!std::isfinite(seconds)) std::abort();
    const auto total = static_cast<long long>(seconds);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%02lld:%02lld:%02lld", total / 3600, total / 60 % 60,
                  total % 60);
    return text.data();
}

std::string formatPixels(const Size& points, double scale) {
    return std::to_string(wholePixels(points.width, scale)) + " × " +
           std::to_string(wholePixels(points.height, scale));
}

std::string formatByteCount(std::uintmax_t bytes) {
    constexpr std::array units{"kB", "MB", "GB"};
    double amount = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // 999.95 MB would be printed as "1000.0 MB": print "1.0 GB".
    while (amount >= (unit == 0 ? 999.5 : 999.95) && unit + 1 < units.size()) {
        amount /= 1000;
        ++unit;
    }
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", amount, units[unit]);
    return text.data();
}

}  // namespace lumicrate
