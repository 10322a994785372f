// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopApp: the desktop application: tray icon, windows, shortcuts.
#pragma once

#include "App/ApplicationStart.h"

namespace lumicrate::app {

/// Runs the application until it is quit. When it is already running, that instance comes forward, shows the
/// recordings or performs the action. Returns the exit status.
int runDesktopApp(const ApplicationStart& start);

}  // namespace lumicrate::app
