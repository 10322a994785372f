// SPDX-License-Identifier: GPL-3.0-or-later
// OptionParser: parses a command's options by a table, and reads their values. Every command also has --help.
#pragma once

#include "Support/Error.h"
#include "Support/MediaTime.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::app {

/// The command line is invalid: exit status 2.
class UsageError : public LocalizedError {
 public:
    using LocalizedError::LocalizedError;
};

/// What a value names. The completions of shells offer what there is of it.
enum class ValueKind {
    other,  ///< a number, a time, a rectangle
    choice,
    file,
    display,
    window,
    microphone,
    camera,
    recording,
    preference,
    preferenceValue,  ///< of the preference that is the argument before
};

/// One option of a command.
struct OptionSpec {
    enum class Kind {
        flag,                ///< --name
        negatable,           ///< --name and --no-name
        value,               ///< --name VALUE or --name=VALUE
        optionalValue,       ///< --name, --name VALUE or --name=VALUE, where VALUE must not start with a dash
        negatableWithValue,  ///< --name, --name=VALUE and --no-name
    };

    std::string_view name;  ///< without dashes
    Kind kind = Kind::flag;
    std::string_view placeholder;  ///< the value's name in the help
    std::string_view help;
    ValueKind value = ValueKind::other;
    std::span<const std::string_view> choices = {};  ///< the valid values of a choice

    bool takesValue() const { return kind != Kind::flag && kind != Kind::negatable; }
    /// Whether VALUE may be the next word.
    bool takesNextWord() const { return kind == Kind::value || kind == Kind::optionalValue; }
    bool isNegatable() const { return kind == Kind::negatable || kind == Kind::negatableWithValue; }
};

/// A parsed command line. Of an option given twice the last one counts.
class ParsedOptions {
 public:
    /// Whether the option was given, in either form.
    bool has(std::string_view name) const;
    /// true for --name, false for --no-name, nothing when neither was given.
    std::optional<bool> isOn(std::string_view name) const;
    /// The value, when one was given.
    std::optional<std::string> value(std::string_view name) const;
    const std::vector<std::string>& positional() const { return positional_; }

 private:
    friend ParsedOptions parseOptions(std::span<const OptionSpec>, std::span<const std::string>);
    struct Given {
        bool on = true;
        std::optional<std::string> value;
    };
    std::map<std::string, Given, std::less<>> given_;
    std::vector<std::string> positional_;
};

/// Throws UsageError for an unknown option and for a missing or superfluous value. Words that do not start
/// with a dash, and everything after "--", are positional.
ParsedOptions parseOptions(std::span<const OptionSpec> specs, std::span<const std::string> arguments);

/// For commands without positional arguments: throws UsageError when there are any.
void refusePositional(const ParsedOptions& parsed);

/// The only positional argument, a path. Throws UsageError unless there is exactly one.
std::filesystem::path oneFile(const ParsedOptions& parsed);

/// As in the help: "--[no-]microphone[=ID]".
std::string signature(const OptionSpec& spec);

/// Every command has it.
inline constexpr OptionSpec helpOption{"help", OptionSpec::Kind::flag, "", translatable("Show this.")};

/// Of commands that list or report. An array, because most of them have no other option.
inline constexpr std::array jsonOption{
    OptionSpec{"json", OptionSpec::Kind::flag, "", translatable("As JSON, for programs.")}};

/// The options and --help as indented lines.
std::string describeOptions(std::span<const OptionSpec> specs);

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

/// The same for a number with or without decimals, such as 1.5.
std::optional<double> readNumberOption(const ParsedOptions& parsed, std::string_view option, double min,
                                       double max);

/// Bytes: "8MB", "1.5 GB", "500kB" in units of thousands, "8MiB" of 1024; case does not matter. Nothing for
/// any other text and for less than 10 kB.
std::optional<std::uint64_t> parseByteCount(std::string_view text);

/// The size of an option, or nothing when it was not given. Throws UsageError for any other text.
std::optional<std::uint64_t> readSizeOption(const ParsedOptions& parsed, std::string_view option);

/// The time of an option, or nothing when it was not given. Throws UsageError for any other text.
std::optional<CMTime> readTimeOption(const ParsedOptions& parsed, std::string_view option);

}  // namespace lumicrate::app
