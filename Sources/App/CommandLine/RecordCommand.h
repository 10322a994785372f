// The command "record".
#pragma once

#include <string>
#include <vector>

namespace lumicrate::app {

/// Records until it is told to stop (--duration, SIGINT, SIGTERM), prints the path of the file as the last
/// line, and gives the exit status. Throws UsageError for a command line that is not understood, and any
/// other exception with a sentence for the user.
int runRecordCommand(const std::vector<std::string>& arguments);

}  // namespace lumicrate::app
