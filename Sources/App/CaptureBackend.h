// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureBackend: by which way the screen is captured.
#pragma once

#include "Lumicrate/Shell/DesktopAbilities.h"

#include <optional>
#include <string>
#include <string_view>

namespace lumicrate::app {

enum class CaptureBackend {
    x11,     ///< from the X server
    portal,  ///< through the desktop portal, as Wayland desktops require
};

/// The variable that contains the name of a backend, "x11" or "portal", for this process.
inline constexpr const char* backendVariable = "LUMICRATE_BACKEND";

std::optional<CaptureBackend> backendNamed(std::string_view name);

/// The one that backendVariable names, or else the one that fits the session: the portal if a Wayland
/// compositor runs the desktop, although it usually offers an X server too, which shows X programs only.
/// Throws LocalizedError if the variable contains another name.
CaptureBackend captureBackend();

/// Whether a Wayland compositor runs the desktop.
bool isWaylandSession();

/// The least that holds for the session and for the way of capturing: programs on the X server of a Wayland
/// desktop get keys and clicks only from X programs.
DesktopAbilities desktopAbilities();

}  // namespace lumicrate::app
