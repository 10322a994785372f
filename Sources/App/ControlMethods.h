// How the application's commands are called on the session bus.
#pragma once

#include "Linux/Desktop/BusService.h"
#include "Lumicrate/Shell/RemoteControl.h"

#include <string>
#include <vector>

namespace lumicrate::app {

inline constexpr const char* statusMethod = "Status";

/// "Activate", "Toggle", "Pause", "Area", "Quit".
std::string methodName(RemoteCommand command);

/// What the bus offers of `control`, which must outlive it.
std::vector<desktop::BusService::Method> controlMethods(RemoteControl& control);

}  // namespace lumicrate::app
