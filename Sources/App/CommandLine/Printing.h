// SPDX-License-Identifier: GPL-3.0-or-later
// Printing what other programs chose or will read.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace lumicrate::app {

/// Replaces control characters by spaces. Window titles and file names are chosen by other programs: they
/// must not break lines or control the terminal. "a\x1b[31m\n" becomes "a [31m ".
std::string onOneLine(std::string text);

/// Prints a value as JSON. Texts may be invalid UTF-8, JSON must not.
void printJson(const nlohmann::ordered_json& value);

}  // namespace lumicrate::app
