// SPDX-License-Identifier: GPL-3.0-or-later
// ControlMethods: the names and handlers of the application's commands on the session bus.
#pragma once

#include "Linux/Desktop/SessionBus.h"
#include "Lumicrate/Shell/RemoteControl.h"

#include <string>
#include <vector>

namespace lumicrate::app {

inline constexpr const char* statusMethod = "Status";
/// Its argument is the absolute path of a recording.
inline constexpr const char* openMethod = "Open";

/// "Activate", "Toggle", "Pause", "Area", "Quit".
std::string methodName(RemoteCommand command);

/// The bus methods that call `control`, which must outlive them.
std::vector<desktop::BusService::Method> controlMethods(RemoteControl& control);

}  // namespace lumicrate::app
