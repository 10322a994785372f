// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CaptureBackend.h"

#include "Support/Error.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace lumicrate::app {

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

std::optional<CaptureBackend> backendNamed(std::string_view name) {
    if (name == "x11") return CaptureBackend::x11;
    if (name == "portal") return CaptureBackend::portal;
    return std::nullopt;
}

bool isWaylandSession() {
    const std::string display = variable("WAYLAND_DISPLAY");
    if (!display.empty()) return true;
    // A service of the session may lack the variable.
    if (variable("XDG_SESSION_TYPE") != "wayland") return false;
    std::error_code unknown;
    return std::filesystem::exists(variable("XDG_RUNTIME_DIR") + "/wayland-0", unknown);
}

CaptureBackend captureBackend() {
    if (const std::string name = variable(backendVariable); !name.empty()) {
        if (const auto named = backendNamed(name)) return *named;
        throw LocalizedError(
            localized("“{}” is not a valid value for {}: use x11 or portal.", {name, backendVariable}));
    }
    return isWaylandSession() ? CaptureBackend::portal : CaptureBackend::x11;
}

DesktopAbilities desktopAbilities() {
    const bool isX11 = captureBackend() == CaptureBackend::x11 && !isWaylandSession();
    return {isX11, isX11, isX11, isX11};
}

}  // namespace lumicrate::app
