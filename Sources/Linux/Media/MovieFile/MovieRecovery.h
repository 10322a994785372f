// SPDX-License-Identifier: GPL-3.0-or-later
// MovieRecovery: completes the movies that a crash cut off. RecoveryList.h shows where it fits in.
#pragma once

#include "Linux/Media/MovieFile/RecoveryList.h"

#include <exception>
#include <filesystem>
#include <vector>

namespace lumicrate::media {

struct RecoveredMovie {
    std::filesystem::path path;
    /// Why it could not be completed, or null. The file then stays as it is, and recovery is tried again the
    /// next time unless the file is too damaged.
    std::exception_ptr error;
};

/// Completes, in place, every movie of the list that nobody is writing any more, and returns those that the
/// user should hear about. Deletes a movie in which nothing was recorded. Leaves alone movies that another
/// process is writing, and files that are not the ones that were begun.
std::vector<RecoveredMovie> recoverMovies(const RecoveryList& recordings);

}  // namespace lumicrate::media
