// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopApp: the desktop application: tray icon, windows, shortcuts.
#pragma once

#include "Lumicrate/Shell/LauncherActions.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace lumicrate::app {

/// How the application is started.
struct ApplicationStart {
    enum class Windows {
        shown,
        background,  ///< the main window only where there is no tray icon
        onRequest,   ///< none until a call on the session bus asks for one, for which the bus started it
    };

    Windows windows = Windows::shown;
    std::vector<std::filesystem::path> opened;  ///< recordings to show instead, absolute
    std::optional<LauncherAction> action;       ///< to be performed instead
};

/// Runs the application until it is quit. When it is already running, that instance comes forward, shows the
/// recordings or performs the action. Returns the exit status.
int runDesktopApp(const ApplicationStart& start);

}  // namespace lumicrate::app
