// The command line: finds the command, and turns what goes wrong into one sentence and an exit status.
#pragma once

#include <string>
#include <vector>

namespace lumicrate::app {

enum ExitStatus : int {
    exitDone = 0,
    exitFailed = 1,         ///< it could not be done; one sentence on standard error says why
    exitNotUnderstood = 2,  ///< the command line makes no sense; likewise
};

/// Runs the command that `arguments` (without the program's name) ask for. Needs a QCoreApplication.
int runCommandLine(const std::vector<std::string>& arguments);

}  // namespace lumicrate::app
