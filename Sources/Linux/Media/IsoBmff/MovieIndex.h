// SPDX-License-Identifier: GPL-3.0-or-later
// The index of a movie file, the box "moov": empty while the movie is in progress, since each fragment
// describes its own samples, and complete when the movie is finished.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// Ticks a second of the movie's clock, the unit of edits and durations.
inline constexpr std::uint32_t movieTimescale = 90000;
/// Seconds from 1904, the epoch of the format, to 1970.
inline constexpr std::int64_t epochShift = 2'082'844'800;

/// An index without samples, for a file of fragments. Tracks are numbered from 1.
std::vector<std::uint8_t> makeEmptyIndex(const MovieDescription& movie);

/// A complete index. `tables` has one table for each track; tracks without samples are left out. `shift` is
/// added to every offset. Metadata ends with the other tracks.
std::vector<std::uint8_t> makeIndex(const MovieDescription& movie, std::span<const SampleTable> tables,
                                    std::int64_t shift);

/// The movie that a metadata track is added to.
struct MetadataPlace {
    Brand brand = Brand::mpeg4;
    std::int64_t created = 0;     ///< seconds since 1970, UTC
    std::uint32_t number = 0;     ///< of the track
    std::uint32_t timescale = 0;  ///< of the movie's clock
    std::uint64_t duration = 0;   ///< of the movie, ticks of that clock
};

/// The box "trak" of a metadata track, for an index that was made elsewhere. The offsets in `table` are those
/// of the file. Empty if no sample begins before the movie's end.
std::vector<std::uint8_t> makeMetadataTrack(const TrackDescription& track, const SampleTable& table,
                                            const MetadataPlace& place);

/// Converts a duration from ticks of one clock to the nearest ticks of another.
std::uint64_t rescaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to);

}  // namespace lumicrate::isobmff
