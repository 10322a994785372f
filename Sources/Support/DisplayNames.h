// SPDX-License-Identifier: GPL-3.0-or-later
// The names of displays that a person knows.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// What is known about the name of one display.
struct NamedDisplay {
    std::string connector;             ///< "HDMI-1", the display server's name for it
    std::optional<std::string> model;  ///< "DELL U2723QE", as the monitor reports it
};

/// One name for each display: "Built-in Display" for the panel of a laptop, else its model, else its
/// connector. Displays of the same name have the connector behind it: "DELL U2723QE (DP-2)".
std::vector<std::string> displayNames(const std::vector<NamedDisplay>& displays);

}  // namespace lumicrate
