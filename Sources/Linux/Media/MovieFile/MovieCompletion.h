// SPDX-License-Identifier: GPL-3.0-or-later
// MovieCompletion: adds the index to a movie file that has all its media. MovieRecovery.h shows where it fits
// in.
#pragma once

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/IsoBmff/MovieHead.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"

#include <string>

namespace lumicrate::media {

enum class IndexPlace {
    front,  ///< the movie can be played while it is being downloaded; falls back to `end` when the disk is
            ///< full
    end,
};

/// Adds the index of `movie`, whose media is already in `file`. The media is not moved where the file system
/// can insert space, and not copied where it can share blocks. The file can be played at any time, also if
/// the process is killed: it counts as unfinished until the single write that finishes it. Throws
/// PlatformError.
void completeMovie(OutputFile& file, const isobmff::UnfinishedMovie& movie, IndexPlace place);

/// Doubles the room before the media and updates `layout`. Returns false where that is not possible.
bool growRoom(OutputFile& file, isobmff::HeadLayout& layout);

/// The name of the copy of a movie, in the same folder, while it is being made.
std::string temporaryName(const OutputFile& file, const isobmff::MovieIdentifier& identifier);

}  // namespace lumicrate::media
