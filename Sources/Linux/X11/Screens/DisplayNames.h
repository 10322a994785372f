// SPDX-License-Identifier: GPL-3.0-or-later
// The names of displays that a person knows: the model that the monitor reports in its EDID.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// What is known about the name of one display.
struct NamedDisplay {
    std::string connector;           ///< "HDMI-1", the monitor's RandR name
    std::vector<std::uint8_t> edid;  ///< as RandR gives it, unchecked; empty without one
};

/// The model in an EDID ("DELL U2723QE"), or else "Display" with the three letters of its maker ("DEL
/// Display"). None if the bytes are no EDID, or name neither. Extension blocks are ignored.
std::optional<std::string> nameFromEdid(std::span<const std::uint8_t> edid);

/// One name for each display: "Built-in Display" for the panel of a laptop, else the name in its EDID, else
/// its connector. Displays of the same name have the connector behind it: "DELL U2723QE (DP-2)".
std::vector<std::string> displayNames(const std::vector<NamedDisplay>& displays);

}  // namespace lumicrate::x11
