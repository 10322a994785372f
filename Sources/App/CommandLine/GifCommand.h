// The command "gif".
#pragma once

#include <string>
#include <vector>

namespace lumicrate::app {

/// Runs it and gives the exit status. Throws UsageError for a command line that is not understood, and any
/// other exception with a sentence for the user.
int runGifCommand(const std::vector<std::string>& arguments);

}  // namespace lumicrate::app
