// SPDX-License-Identifier: GPL-3.0-or-later
// The desktop's scale: pixels per point.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace lumicrate::x11 {

/// The scale of the current desktop settings, from 1 to 4; 1 where no setting exists. Live settings
/// (XSETTINGS) override those of the session's start (RESOURCE_MANAGER), as in toolkits. Throws PlatformError
/// when the server is lost.
double desktopScale(const Connection& connection);

/// Dots per inch in the bytes of an _XSETTINGS_SETTINGS property; nothing where they are missing or invalid.
std::optional<double> dpiFromSettings(std::span<const std::uint8_t> settings);

/// The same in the text of a RESOURCE_MANAGER property.
std::optional<double> dpiFromResources(std::string_view resources);

/// From the server's pixels to the recorder's points.
inline Rect pointsFromPixels(const PixelRect& pixels, double scale) {
    return Rect{double(pixels.x), double(pixels.y), double(pixels.width), double(pixels.height)}.scaledBy(
        1 / scale);
}

}  // namespace lumicrate::x11
