// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/Text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace lumicrate {

namespace {

std::unique_ptr<const Catalogue>& installed() {
    static std::unique_ptr<const Catalogue> catalogue;
    return catalogue;
}

std::optional<std::string> translation(std::string_view context, std::string_view text,
                                       std::optional<int> count = std::nullopt) {
    if (!installed() || text.empty()) return std::nullopt;
    return installed()->find(std::string(context), std::string(text), count);
}

}  // namespace

void setCatalogue(std::unique_ptr<const Catalogue> catalogue) {
    installed() = std::move(catalogue);
}

std::string localized(std::string_view text) {
    return localizedIn("", text);
}

std::string localized(std::string_view text, std::initializer_list<std::string_view> values) {
    return filledIn(localized(text), values);
}

std::string localizedIn(std::string_view context, std::string_view text) {
    return translation(context, text).value_or(std::string(text));
}

std::string localizedPlural(std::string_view one, std::string_view many, int count) {
    const std::string_view english = count == 1 ? one : many;
    return filledIn(translation("", one, count).value_or(std::string(english)), {std::to_string(count)});
}

std::string filledIn(std::string_view text, std::initializer_list<std::string_view> values) {
    std::string filled;
    std::size_t next = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view rest = text.substr(at);
        std::size_t index = values.size();
        if (rest.starts_with("{}")) {
            index = next++;
        } else if (rest.size() > 2 && rest[0] == '{' && rest[1] >= '0' && rest[1] <= '9' && rest[2] == '}') {
            index = static_cast<std::size_t>(rest[1] - '0');
        }
        if (index < values.size()) {
            filled += values.begin()[index];
            at = text.find('}', at);
        } else {
            filled += rest.front();
        }
    }
    return filled;
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
    // Translators: a width and a height. The width comes first in all languages: where these are written from
    // right to left, put it between U+2066 and U+2069.
    return filledIn(localizedIn("size", "{} × {}"), {std::to_string(wholePixels(points.width, scale)),
                                                     std::to_string(wholePixels(points.height, scale))});
}

std::string formatTenths(double value) {
    // Not printf, which follows the locale of the C library, even where that is set for other programs.
    std::array<char, 400> digits{};
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 1);
    std::string text(digits.data(), end.ptr);
    if (installed()) text.replace(text.size() - 2, 1, installed()->decimalPoint());
    return text;
}

std::string formatByteCount(std::uintmax_t bytes) {
    double amount = static_cast<double>(bytes) / 1000;
    // 999.95 MB would be printed as "1000.0 MB": print "1.0 GB".
    if (amount < 999.5) return localized("{} kB", {std::to_string(std::lround(amount))});
    amount /= 1000;
    if (amount < 999.95) return localized("{} MB", {formatTenths(amount)});
    return localized("{} GB", {formatTenths(amount / 1000)});
}

}  // namespace lumicrate
