// TrackHeaders: the headers of one track, and how long it lasts by them.
#pragma once

#include "Linux/Media/IsoBmff/HeaderFile.h"
#include "Linux/Media/IsoBmff/MovieSummary.h"

#include <cstdint>
#include <optional>

namespace lumicrate::isobmff {

/// Times are ticks of the track or of the movie, as numbers that cannot overflow.
struct TrackHeaders {
    std::uint32_t number = 0;
    TrackSummary summary;    ///< all but the duration
    double timescale = 0;    ///< ticks of the track in a second
    double mediaLength = 0;  ///< track's ticks, of the samples that the index tells of
    double length = 0;       ///< movie's ticks, as the track's header has it

    /// What the edit list presents, if there is one.
    struct Edits {
        double length = 0;                ///< movie's ticks, of all edits that say how long they are
        std::optional<double> openStart;  ///< track's ticks, of one that goes to the end of the media
    };
    std::optional<Edits> edits;

    double defaultSampleLength = 0;  ///< track's ticks, where fragments do not say
    double decodeTime = 0;           ///< track's ticks, behind the fragments so far
    double fragmentsEnd = 0;         ///< track's ticks, of the last sample's presentation

    /// Seconds of what is presented.
    double duration(double movieTimescale) const;
};

/// `trak` is that box. Throws Malformed.
TrackHeaders readTrack(HeaderFile& file, const FileBox& trak);

/// A length or time, `in64Bits` or 32, of which all bits set stand for none.
double readTicks(BoxReader& reader, bool in64Bits);

/// What "mvhd", "tkhd" and "mdhd" begin with: a version that says how wide times are, and two dates. Whether
/// they have 64 bits.
bool skipDates(BoxReader& reader);

}  // namespace lumicrate::isobmff
