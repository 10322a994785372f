// The commands that speak to the running application: toggle, pause, area, status and quit.
#pragma once

#include <string>
#include <vector>

namespace lumicrate::app {

int runToggleCommand(const std::vector<std::string>& arguments);
int runPauseCommand(const std::vector<std::string>& arguments);
int runAreaCommand(const std::vector<std::string>& arguments);
int runStatusCommand(const std::vector<std::string>& arguments);
int runQuitCommand(const std::vector<std::string>& arguments);

}  // namespace lumicrate::app
