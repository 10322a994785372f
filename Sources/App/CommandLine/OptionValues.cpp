// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/OptionValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace lumicrate::app {

namespace {

constexpr std::int64_t microseconds = 1'000'000;

/// Digits only, so few that no sum of times overflows.
std::optional<std::int64_t> wholeNumber(std::string_view text) {
    constexpr std::size_t maxDigits = 9;
    std::int64_t number = 0;
    if (text.empty() || text.size() > maxDigits) return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.front() == '-') return std::nullopt;
    return number;
}

/// The digits after the decimal point, in microseconds: "25" gives 250000.
std::optional<std::int64_t> decimals(std::string_view text) {
    if (!std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; })) return std::nullopt;
    std::int64_t value = 0;
    std::int64_t unit = microseconds;
    for (const char digit : text.substr(0, 6))
        value += (digit - '0') * (unit /= 10);
    return value;
}

}  // namespace

std::optional<double> readNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(number))
        return std::nullopt;
    return number;
}

std::optional<CMTime> parseTime(std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto fraction = decimals(text.substr(std::min(point + 1, text.size())));
    std::string_view rest = text.substr(0, point);
    std::int64_t seconds = 0;
    for (int parts = 0; parts < 3; ++parts) {
        const std::size_t colon = rest.find(':');
        const auto part = wholeNumber(rest.substr(0, colon));
        const bool carries = parts > 0 && part && *part >= 60;
        if (!part || !fraction || carries) return std::nullopt;
        seconds = seconds * 60 + *part;
        if (colon == std::string_view::npos) return CMTime(seconds * microseconds + *fraction, microseconds);
        rest.remove_prefix(colon + 1);
    }
    return std::nullopt;
}

CMTime timeOfSeconds(double seconds) {
    return {static_cast<std::int64_t>(seconds * microseconds + 0.5), microseconds};
}

void throwInvalidValue(std::string_view option, std::string_view value, std::string_view expected) {
    throw UsageError(fmt::format(fmt::runtime(localized("“{}” is not a valid value for --{}: give {}.")),
                                 value, option, expected));
}

std::optional<int> readIntegerOption(const ParsedOptions& parsed, std::string_view option, int min, int max) {
    const auto text = parsed.value(option);
    if (!text) return std::nullopt;
    int number = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error == std::errc{} && stop == end && number >= min && number <= max) return number;
    throwInvalidValue(option, *text,
                      fmt::format(fmt::runtime(localized("a number from {} to {}")), min, max));
}

std::optional<CMTime> readTimeOption(const ParsedOptions& parsed, std::string_view option) {
    const auto text = parsed.value(option);
    if (!text) return std::nullopt;
    const auto time = parseTime(*text);
    if (time) return time;
    throw UsageError(fmt::format(fmt::runtime(localized("“{}” is not a time.")), *text));
}

}  // namespace lumicrate::app
