// UnfinishedMovie: a movie file that has its media but not yet its index, be it that this is still being
// written or that a crash has cut it off.
#pragma once

#include "Linux/Media/IsoBmff/ByteSource.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieHead.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <variant>
#include <vector>

namespace lumicrate::isobmff {

struct UnfinishedMovie {
    MovieDescription description;
    MovieIdentifier identifier{};
    HeadLayout layout;
    std::vector<SampleTable> tracks;  ///< one for each track of the description
    std::uint64_t mediaEnd = 0;       ///< behind the last whole fragment
};

struct FinishedMovie {
    MovieIdentifier identifier{};
};

/// Not begun by this recorder, or too damaged to tell what it is.
struct ForeignFile {};

using MovieReading = std::variant<ForeignFile, FinishedMovie, UnfinishedMovie>;

/// Reads back what is needed to complete a movie, whenever its writing was cut off: while a fragment was
/// being appended, the room in the head grown, or the index written. Of an unfinished movie's media only the
/// headers of boxes are read, whatever its length; memory is taken for the samples that there are and for one
/// fragment's index, whatever the bytes say.
///
/// The room may lie there as several boxes; before anything is written into it, roomHeader must make them
/// one. What was cut off behind the last whole fragment does not count. Damaged fragments are left out, they
/// alone; their bytes still belong to the media. Where behind all fragments lies something that is neither
/// the beginning of another one nor an index, `mediaEnd` is the file's end, so that nothing is thrown away
/// that might still be of worth. Nothing was recorded, therefore, only if `mediaEnd` is where the media
/// begins.
MovieReading readUnfinishedMovie(const ByteSource& file);

}  // namespace lumicrate::isobmff
