// SPDX-License-Identifier: GPL-3.0-or-later
// UnfinishedMovie: a movie file with media but without an index, because it is still being written or a crash
// cut it off.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"
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
    std::uint64_t mediaEnd = 0;       ///< end of the last complete fragment
};

struct FinishedMovie {
    MovieIdentifier identifier{};
};

/// Not written by this recorder, or too damaged to recognize.
struct ForeignFile {};

using MovieReading = std::variant<ForeignFile, FinishedMovie, UnfinishedMovie>;

/// Reads what is needed to complete a movie, whenever its writing was cut off: while appending a fragment,
/// growing the room in the head, or writing the index. Reads only box headers of the media; memory is limited
/// by the actual number of samples plus one fragment's index, whatever the bytes say.
///
/// The room may consist of several boxes; write roomHeader() before anything else into it. An incomplete
/// fragment at the end is ignored. A damaged fragment is skipped, but its bytes still belong to the media. If
/// the fragments are followed by something that is neither the beginning of another fragment nor an index,
/// `mediaEnd` is the end of the file, so that nothing of possible value is cut off. So nothing was recorded
/// only if `mediaEnd` is where the media begins.
MovieReading readUnfinishedMovie(const ByteSource& file);

}  // namespace lumicrate::isobmff
