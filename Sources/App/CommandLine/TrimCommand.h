// The command "trim".
#pragma once

#include "Support/MediaTime.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::app {

/// A place in a movie: seconds, or [hours:]minutes:seconds, each with decimals or without. Nothing when it is
/// not understood.
std::optional<CMTime> parseTime(std::string_view text);

/// Runs it and gives the exit status. Throws UsageError for a command line that is not understood, and any
/// other exception with a sentence for the user.
int runTrimCommand(const std::vector<std::string>& arguments);

}  // namespace lumicrate::app
