// SPDX-License-Identifier: GPL-3.0-or-later
// ManualPage: lumicrate(1), made from the tables of commands, options and preferences.
#pragma once

#include <string>

namespace lumicrate::app {

/// In the language of troff's "man" macros, UTF-8.
std::string manualPage();

}  // namespace lumicrate::app
