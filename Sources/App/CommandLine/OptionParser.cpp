// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/OptionParser.h"

#include "Support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

namespace lumicrate::app {

namespace {

using Kind = OptionSpec::Kind;

const OptionSpec* find(std::span<const OptionSpec> specs, std::string_view name) {
    if (name == helpOption.name) return &helpOption;
    const auto found = std::ranges::find(specs, name, &OptionSpec::name);
    return found == specs.end() ? nullptr : &*found;
}

/// One option as it was given, such as "--name=VALUE" or "--no-name".
struct Token {
    const OptionSpec* spec;
    bool on = true;
    std::optional<std::string> value;
};

Token readToken(std::span<const OptionSpec> specs, std::string_view argument) {
    const std::string_view body = argument.substr(std::min<std::size_t>(2, argument.size()));
    const std::size_t equals = body.find('=');
    const std::string_view name = body.substr(0, equals);
    Token token{find(specs, name), true, std::nullopt};
    if (equals != std::string_view::npos) token.value = std::string(body.substr(equals + 1));
    if (token.spec == nullptr && name.starts_with("no-")) {
        const OptionSpec* negated = find(specs, name.substr(3));
        if (negated != nullptr && negated->isNegatable()) token = {negated, false, token.value};
    }
    if (!argument.starts_with("--") || token.spec == nullptr) {
        throw UsageError(localized("Unknown option “{}”.", {argument}));
    }
    if (token.value && (!token.on || !token.spec->takesValue())) {
        throw UsageError(localized("The option --{} takes no value.", {name}));
    }
    return token;
}

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

std::string signature(const OptionSpec& spec) {
    switch (spec.kind) {
        case Kind::flag:
            return fmt::format("--{}", spec.name);
        case Kind::negatable:
            return fmt::format("--[no-]{}", spec.name);
        case Kind::value:
            return fmt::format("--{} {}", spec.name, spec.placeholder);
        case Kind::optionalValue:
            return fmt::format("--{} [{}]", spec.name, spec.placeholder);
        case Kind::negatableWithValue:
            return fmt::format("--[no-]{}[={}]", spec.name, spec.placeholder);
    }
    return {};
}

bool ParsedOptions::has(std::string_view name) const {
    return given_.contains(name);
}

std::optional<bool> ParsedOptions::isOn(std::string_view name) const {
    const auto found = given_.find(name);
    return found == given_.end() ? std::nullopt : std::optional(found->second.on);
}

std::optional<std::string> ParsedOptions::value(std::string_view name) const {
    const auto found = given_.find(name);
    return found == given_.end() ? std::nullopt : found->second.value;
}

ParsedOptions parseOptions(std::span<const OptionSpec> specs, std::span<const std::string> arguments) {
    ParsedOptions parsed;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--") {
            parsed.positional_.insert(parsed.positional_.end(),
                                      arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                      arguments.end());
            break;
        }
        if (!argument.starts_with('-') || argument == "-") {
            parsed.positional_.push_back(argument);
            continue;
        }
        Token token = readToken(specs, argument);
        const bool nextIsValue = i + 1 < arguments.size() && !arguments[i + 1].starts_with("--");
        if (token.spec->kind == Kind::value && !token.value) {
            if (!nextIsValue) {
                throw UsageError(localized("The option --{} needs a value.", {token.spec->name}));
            }
            token.value = arguments[++i];
        } else if (token.spec->kind == Kind::optionalValue && !token.value && nextIsValue) {
            token.value = arguments[++i];
        }
        parsed.given_.insert_or_assign(std::string(token.spec->name),
                                       ParsedOptions::Given{token.on, std::move(token.value)});
    }
    return parsed;
}

void refusePositional(const ParsedOptions& parsed) {
    if (parsed.positional().empty()) return;
    throw UsageError(localized("“{}” is not understood here.", {parsed.positional().front()}));
}

std::filesystem::path oneFile(const ParsedOptions& parsed) {
    const auto& words = parsed.positional();
    if (words.size() != 1 || words[0].empty()) throw UsageError(localized("Give one file."));
    return words[0];
}

std::string describeOptions(std::span<const OptionSpec> specs) {
    std::string text;
    const auto describe = [&text](const OptionSpec& spec) {
        const std::string left = signature(spec);
        // A long option gets a line of its own, so that the descriptions stay in one column.
        constexpr std::size_t column = 28;
        if (left.size() > column) {
            text += fmt::format("  {}\n  {:<{}}  {}\n", left, "", column, localized(spec.help));
        } else {
            text += fmt::format("  {:<{}}  {}\n", left, column, localized(spec.help));
        }
    };
    std::ranges::for_each(specs, describe);
    describe(helpOption);
    return text;
}

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
    throw UsageError(localized("“{}” is not a valid value for --{}: give {}.", {value, option, expected}));
}

std::optional<int> readIntegerOption(const ParsedOptions& parsed, std::string_view option, int min, int max) {
    const auto text = parsed.value(option);
    if (!text) return std::nullopt;
    int number = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error == std::errc{} && stop == end && number >= min && number <= max) return number;
    throwInvalidValue(option, *text,
                      localized("a number from {} to {}", {fmt::to_string(min), fmt::to_string(max)}));
}

std::optional<double> readNumberOption(const ParsedOptions& parsed, std::string_view option, double min,
                                       double max) {
    const auto text = parsed.value(option);
    if (!text) return std::nullopt;
    const auto number = readNumber(*text);
    if (number && *number >= min && *number <= max) return number;
    throwInvalidValue(option, *text,
                      localized("a number from {} to {}", {fmt::to_string(min), fmt::to_string(max)}));
}

std::optional<std::uint64_t> parseByteCount(std::string_view text) {
    constexpr double min = 10e3;
    constexpr double max = 1e15;
    constexpr std::array<std::pair<std::string_view, double>, 6> units{
        {{"kb", 1e3}, {"mb", 1e6}, {"gb", 1e9}, {"kib", 1024.0}, {"mib", 1048576.0}, {"gib", 1073741824.0}}};
    const std::size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    std::string unit(text.substr(end));
    if (unit.starts_with(' ')) unit.erase(0, 1);
    std::ranges::transform(unit, unit.begin(), [](unsigned char c) { return std::tolower(c); });
    const auto found = std::ranges::find(units, unit, &std::pair<std::string_view, double>::first);
    const auto number = readNumber(text.substr(0, end));
    if (found == units.end() || !number) return std::nullopt;
    const double bytes = *number * found->second;
    if (!(bytes >= min && bytes <= max)) return std::nullopt;
    return static_cast<std::uint64_t>(bytes);
}

std::optional<std::uint64_t> readSizeOption(const ParsedOptions& parsed, std::string_view option) {
    const auto text = parsed.value(option);
    if (!text) return std::nullopt;
    const auto bytes = parseByteCount(*text);
    if (!bytes)
        throwInvalidValue(option, *text, localized("a size of at least 10 kB with its unit, such as 8MB"));
    return bytes;
}

std::optional<CMTime> readTimeOption(const ParsedOptions& parsed, std::string_view option) {
    const auto text = parsed.value(option);
    if (!text) return std::nullopt;
    const auto time = parseTime(*text);
    if (time) return time;
    throw UsageError(localized("“{}” is not a time.", {*text}));
}

}  // namespace lumicrate::app
