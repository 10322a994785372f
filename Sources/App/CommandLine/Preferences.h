// SPDX-License-Identifier: GPL-3.0-or-later
// Preferences: the stored preferences as the command "settings" shows and changes them, by key.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/NSUserDefaults.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::app {

/// A preference and its valid values.
struct Preference {
    enum class Kind { toggle, choice, number, text, color, folder, area, command, shortcut };

    std::string_view key;
    Kind kind = Kind::text;
    std::vector<std::string> choices{};  ///< of a choice
    std::string fallback{};              ///< of a choice or colour: in force instead of an invalid value
    double min = 0;                      ///< of a number
    double max = 0;

    /// Whether the values are numbers, written in digits.
    bool isNumeric() const { return kind == Kind::number || key == preference::fps; }
    /// The valid values in words, for help and errors.
    std::string expected() const;
    /// The value in force as text: the stored or registered one, if it is valid.
    std::string read(const NSUserDefaults& defaults) const;
    /// The stored text, if it is not valid: somebody edited the file.
    std::optional<std::string> invalidText(const NSUserDefaults& defaults) const;
    /// The value to store for a text. Throws UsageError for an invalid one.
    DefaultsValue parse(const std::string& text) const;

 private:
    std::optional<DefaultsValue> parsed(const std::string& text) const;
};

/// All of them, in the order of the settings.
std::span<const Preference> preferences();

/// Throws UsageError for an unknown key.
const Preference& findPreference(std::string_view key);

}  // namespace lumicrate::app
