// The desktop's scale: how many pixels make a point.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace lumicrate::x11 {

/// What the desktop's settings tell now, at least 1 and at most 4; 1 where nothing tells. Running settings
/// (XSETTINGS) count more than what was put down when the session began (RESOURCE_MANAGER), as toolkits have
/// it. Throws PlatformError when the server is lost.
double desktopScale(const Connection& connection);

/// The dots per inch in the contents of a settings property; nothing where it does not tell or makes no
/// sense.
std::optional<double> dpiFromSettings(std::span<const std::uint8_t> settings);

/// The same of the resources' text.
std::optional<double> dpiFromResources(std::string_view resources);

}  // namespace lumicrate::x11
