// Finishing, at the start of any command, what an earlier run was cut off in.
#pragma once

#include "Linux/Media/MovieFile/RecoveryList.h"

#include <string>
#include <vector>

namespace lumicrate::app {

/// Where it is kept which recordings are being written.
media::RecoveryList unfinishedMovies();

/// Completes the recordings that nobody writes any more, and gives a sentence for each.
std::vector<std::string> recoverInterruptedRecordings();
/// The same, said on standard error.
void finishInterruptedRecordings();

}  // namespace lumicrate::app
