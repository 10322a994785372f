// MovieRecovery: completes the movies that a crash has cut off.
#pragma once

#include "Linux/Media/MovieFile/RecoveryList.h"

#include <exception>
#include <filesystem>
#include <vector>

namespace lumicrate::media {

struct RecoveredMovie {
    std::filesystem::path path;
    /// Why it could not be completed; it then stays as it is, and is tried again the next time unless it is
    /// too damaged.
    std::exception_ptr error;
};

/// Completes, in place, every movie of the list that nobody writes any more, and gives those about which
/// there is something to tell. A movie in which nothing was recorded is deleted. Files that are not the ones
/// that were begun, and movies that another process is writing, are left alone.
std::vector<RecoveredMovie> recoverMovies(const RecoveryList& unfinished);

}  // namespace lumicrate::media
