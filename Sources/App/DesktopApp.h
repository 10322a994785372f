// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopApp: the desktop application: tray icon, windows, shortcuts.
#pragma once

#include <filesystem>
#include <optional>

namespace lumicrate::app {

/// Runs the application until it is quit; with `inBackground`, without showing its window; with `opened`,
/// with the preview of that recording instead (an absolute path). When it is already running, that instance
/// comes forward or shows the preview. Returns the exit status.
int runDesktopApp(bool inBackground, const std::optional<std::filesystem::path>& opened = std::nullopt);

}  // namespace lumicrate::app
