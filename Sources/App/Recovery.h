// SPDX-License-Identifier: GPL-3.0-or-later
// Recovery: finishes recordings that a crash or a power cut interrupted.
#pragma once

#include "Linux/Media/MovieFile/RecoveryList.h"

#include <string>
#include <vector>

namespace lumicrate::app {

/// The register of the recordings that are being written, in the user's state folder.
media::RecoveryList unfinishedMovies();

/// Completes every registered recording whose program has ended. Gives a sentence for the user for each.
std::vector<std::string> recoverInterruptedRecordings();

}  // namespace lumicrate::app
