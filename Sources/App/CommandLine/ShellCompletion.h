// SPDX-License-Identifier: GPL-3.0-or-later
// ShellCompletion: scripts by which shells complete command lines, made from the tables of commands and
// options. Values that depend on the machine are listed by `lumicrate complete` when they are needed.
#pragma once

#include "App/CommandLine/OptionParser.h"

#include <optional>
#include <string>
#include <string_view>

namespace lumicrate::app {

/// The name of a kind whose values `lumicrate complete` lists; empty for the others.
std::string_view liveKindName(ValueKind kind);
/// The inverse.
std::optional<ValueKind> liveKindNamed(std::string_view name);

std::string bashCompletion();
std::string zshCompletion();
std::string fishCompletion();

}  // namespace lumicrate::app
