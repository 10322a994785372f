// Completing a movie file: the index is added to the media that is in the file already.
#pragma once

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/IsoBmff/MovieHead.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"

#include <string>

namespace lumicrate::media {

enum class IndexPlace {
    front,  ///< the movie can be played while it is being loaded; else, where there is no space, at the end
    end,
};

/// Gives `movie`, whose media is all in `file`, its index. The media is not moved where the file system can
/// insert space and not copied where it can share blocks. Whatever happens on the way, the process's death
/// included, the file is a movie that can be played: unfinished until the one write that finishes it. Throws
/// PlatformError.
void completeMovie(OutputFile& file, const isobmff::UnfinishedMovie& movie, IndexPlace place);

/// Doubles the room before the media, and `layout` with it. False where that cannot be done.
bool growRoom(OutputFile& file, isobmff::HeadLayout& layout);

/// The name that a copy of a movie bears beside it while it is made.
std::string temporaryName(const OutputFile& file, const isobmff::MovieIdentifier& identifier);

}  // namespace lumicrate::media
