// SPDX-License-Identifier: GPL-3.0-or-later
// ApplicationStart: how a command line without a command starts the application.
#pragma once

#include "App/CommandLine/OptionParser.h"
#include "Lumicrate/Shell/LauncherActions.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumicrate::app {

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

/// The options that users give.
extern const std::span<const OptionSpec> applicationOptions;

/// Reads `arguments` (without the program's name), and applies --backend to the process. Nothing if they are
/// for runCommandLine(): a command, --help or --version. "lumicrate open FILE" and files are a start. Throws
/// UsageError.
std::optional<ApplicationStart> readApplicationStart(const std::vector<std::string>& arguments);

}  // namespace lumicrate::app
