// Finishing, at the start of any command, what an earlier run was cut off in.
#pragma once

#include "Linux/Media/UnfinishedMovies.h"

namespace lumicrate::app {

/// Where it is kept which recordings are being written.
media::UnfinishedMovies unfinishedMovies();

/// Completes the recordings that nobody writes any more and says so on standard error.
void finishInterruptedRecordings();

}  // namespace lumicrate::app
