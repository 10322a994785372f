// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopApp: the desktop application: tray icon, windows, shortcuts.
#pragma once

namespace lumicrate::app {

/// Runs the application until it is quit; with `inBackground`, without showing its window. When it is already
/// running, brings that instance forward instead. Returns the exit status.
int runDesktopApp(int argc, char** argv, bool inBackground);

}  // namespace lumicrate::app
