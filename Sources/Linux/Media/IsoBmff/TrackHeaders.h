// SPDX-License-Identifier: GPL-3.0-or-later
// TrackHeaders: the headers of one track of a movie that any program wrote, and the duration they add up to.
#pragma once

#include "Linux/Media/IsoBmff/HeaderFile.h"
#include "Linux/Media/IsoBmff/MovieSummary.h"

#include <cstdint>
#include <optional>
#include <span>

namespace lumicrate::isobmff {

/// Times in ticks of the track or of the movie, as floating-point numbers, which cannot overflow.
struct TrackHeaders {
    std::uint32_t number = 0;
    TrackSummary summary;    ///< all but the duration
    double timescale = 0;    ///< ticks of the track in a second
    double mediaLength = 0;  ///< track's ticks, of the samples in the index
    double length = 0;       ///< movie's ticks, from the track's header

    /// The edit list, if there is one.
    struct Edits {
        double length = 0;                ///< movie's ticks, sum of the edits with a length
        std::optional<double> openStart;  ///< track's ticks, start of an edit up to the end of the media
    };
    std::optional<Edits> edits;

    double defaultSampleLength = 0;  ///< track's ticks, unless a fragment has its own
    double decodeTime = 0;           ///< track's ticks, end of the fragments so far
    double fragmentsEnd = 0;         ///< track's ticks, end of the last presented sample

    /// What is presented, seconds.
    double duration(double movieTimescale) const;
};

/// `trak` is that box. Throws Malformed.
TrackHeaders readTrack(HeaderFile& file, const FileBox& trak);

/// Extends the tracks by the fragment with this box "moof"; ignores tracks that are not in `tracks`. Throws
/// Malformed; what precedes the damage has been added by then.
void addFragment(HeaderFile& file, const FileBox& moof, std::span<TrackHeaders> tracks);

/// A length or time of 64 or 32 bits; all bits set mean unknown, read as 0.
double readTicks(BoxReader& reader, bool in64Bits);

/// Skips the beginning of "mvhd", "tkhd" and "mdhd": version, flags and two dates. Returns whether times have
/// 64 bits.
bool skipDates(BoxReader& reader);

}  // namespace lumicrate::isobmff
