// SPDX-License-Identifier: GPL-3.0-or-later
// OptionValues: reads and checks the values of options: numbers, times and choices.
#pragma once

#include "App/CommandLine/OptionParser.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace lumicrate::app {

/// A finite decimal number that makes up the whole text: "2.5", "-1", "1e3".
std::optional<double> readNumber(std::string_view text);

/// A time in a movie: seconds, or [hours:]minutes:seconds, with or without decimals. Finer decimals than
/// microseconds are cut off. "75", "1:15" and "0:01:15.0" are the same time. Nothing for any other text.
std::optional<CMTime> parseTime(std::string_view text);

/// Rounded to microseconds.
CMTime timeOfSeconds(double seconds);

/// Throws the UsageError “{value}” is not a valid value for --{option}: give {expected}. `expected` is
/// localized.
[[noreturn]] void throwInvalidValue(std::string_view option, std::string_view value,
                                    std::string_view expected);

/// The whole number of an option, or nothing when it was not given. Throws UsageError for any other text and
/// for numbers outside `min` … `max`.
std::optional<int> readIntegerOption(const ParsedOptions& parsed, std::string_view option, int min, int max);

/// The time of an option, or nothing when it was not given. Throws UsageError for any other text.
std::optional<CMTime> readTimeOption(const ParsedOptions& parsed, std::string_view option);

}  // namespace lumicrate::app
