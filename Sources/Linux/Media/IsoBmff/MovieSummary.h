// MovieSummary: what a movie file tells of itself in its headers, whoever wrote it.
#pragma once

#include "Linux/Media/IsoBmff/BoxWriter.h"
#include "Linux/Media/IsoBmff/ByteSource.h"

#include <variant>
#include <vector>

namespace lumicrate::isobmff {

struct TrackSummary {
    FourCC kind = 0;      ///< "vide", "soun" …
    FourCC format = 0;    ///< of its first sample entry: "avc1", "mp4a" …; 0 when there is none
    double duration = 0;  ///< of what is presented, seconds
    double width = 0;     ///< of pictures as they are shown, upright; 0 for sound
    double height = 0;
};

struct MovieSummary {
    std::vector<TrackSummary> tracks;
    double duration = 0;  ///< of what is presented, seconds: that of the longest picture or sound
};

/// Its index is missing, wholly or in part.
struct CutOffMovie {};

/// Not of this format, or too damaged to tell what it is.
struct NoMovie {};

using SummaryReading = std::variant<NoMovie, CutOffMovie, MovieSummary>;

/// Reads an ISO base media or QuickTime file, finished or in fragments, also one that is still being written.
/// Neither media nor sample tables are read, unless there is no other way to tell how long fragments last.
SummaryReading readMovieSummary(const ByteSource& file);

}  // namespace lumicrate::isobmff
