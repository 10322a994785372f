// SPDX-License-Identifier: GPL-3.0-or-later
// MovieSummary: duration and tracks of a movie file from its headers, whichever program wrote it.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"

#include <string>
#include <variant>
#include <vector>

namespace lumicrate::isobmff {

struct TrackSummary {
    FourCC kind = 0;      ///< "vide", "soun" …
    FourCC format = 0;    ///< of its first sample entry: "avc1", "mp4a" …; 0 without one
    double duration = 0;  ///< of what is presented, seconds
    double width = 0;     ///< as displayed, after rotation; 0 for sound
    double height = 0;
    std::string mimeType = {};  ///< of the samples of text metadata
};

struct MovieSummary {
    std::vector<TrackSummary> tracks;
    double duration = 0;  ///< of what is presented, seconds: that of the longest video or sound track
};

/// The index is missing or incomplete.
struct CutOffMovie {};

/// Not of this format, or too damaged to recognize.
struct NoMovie {};

using SummaryReading = std::variant<NoMovie, CutOffMovie, MovieSummary>;

/// Reads an ISO base media or QuickTime file, finished or fragmented, also while it is being written. Reads
/// neither media nor sample tables; only where fragments don't have a total duration, their sample durations.
SummaryReading readMovieSummary(const ByteSource& file);

}  // namespace lumicrate::isobmff
