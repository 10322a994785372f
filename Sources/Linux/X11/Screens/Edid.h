// SPDX-License-Identifier: GPL-3.0-or-later
// Edid: what a monitor reports about itself.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace lumicrate::x11 {

/// The model in an EDID ("DELL U2723QE"), or else "Display" with the three letters of its maker ("DEL
/// Display"). None if the bytes are no EDID, or name neither. Extension blocks are ignored.
std::optional<std::string> nameFromEdid(std::span<const std::uint8_t> edid);

}  // namespace lumicrate::x11
