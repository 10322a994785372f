// TrackThreads: the tracks of a new movie, each written by a thread of its own.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"

#include <functional>
#include <vector>

namespace lumicrate::media {

/// Runs all of `writers` at once and waits for them. When one throws, the others give up, and what it threw
/// is thrown.
void writeTogether(OutputMovie& movie, const std::vector<std::function<void()>>& writers);

}  // namespace lumicrate::media
