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
    if (!std::isfinite(seconds)) std::abort();
    const auto total = static_cast<long long>(seconds);
    std::array<char, 40> text{};
    if (total >= 3600) {
        std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", total / 3600, total / 60 % 60,
                      total % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%02lld:%02lld", total / 60, total % 60);
    }
    return text.data();
}

}  // namespace lumicrate
