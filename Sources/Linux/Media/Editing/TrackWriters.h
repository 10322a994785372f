// SPDX-License-Identifier: GPL-3.0-or-later
// TrackWriters: all tracks of a new movie, written at once.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"

#include <memory>
#include <vector>

namespace lumicrate::media {

using TrackWriters = std::vector<std::unique_ptr<TrackWriter>>;

/// Writes a movie with the metadata of `input` and these tracks, each on a thread of its own, and completes
/// the file. When a writer fails, the others are stopped and its exception is thrown.
void writeMovie(OutputMovie& output, const InputMovie& input, const TrackWriters& tracks);

}  // namespace lumicrate::media
