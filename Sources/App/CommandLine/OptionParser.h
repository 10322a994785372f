// OptionParser: reads a command's options, as a table describes them.
#pragma once

#include "Support/Error.h"

#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::app {

/// The command line is not understood: exit status 2.
class UsageError : public LocalizedError {
 public:
    using LocalizedError::LocalizedError;
};

/// One option of a command.
struct OptionSpec {
    enum class Kind {
        flag,                ///< --name
        negatable,           ///< --name and --no-name
        value,               ///< --name VALUE or --name=VALUE
        optionalValue,       ///< --name, --name VALUE or --name=VALUE, where VALUE does not begin with a dash
        negatableWithValue,  ///< --name, --name=VALUE and --no-name
    };

    std::string_view name;  ///< without dashes
    Kind kind = Kind::flag;
    std::string_view placeholder;  ///< what the help calls the value
    std::string_view help;
};

/// What a command line said. Of an option given twice the last counts.
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

/// Throws UsageError for an unknown option and for a value that is missing or not wanted. What does not begin
/// with a dash, and everything after "--", is positional.
ParsedOptions parseOptions(std::span<const OptionSpec> specs, std::span<const std::string> arguments);

/// For commands that take options only: throws UsageError when something else was given.
void refusePositional(const ParsedOptions& parsed);

/// For commands on one file: its path. Throws UsageError unless exactly one was given.
std::filesystem::path oneFile(const ParsedOptions& parsed);

/// The options as indented lines of help.
std::string describeOptions(std::span<const OptionSpec> specs);

}  // namespace lumicrate::app
