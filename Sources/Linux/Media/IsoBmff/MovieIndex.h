// The index of a movie file, the box "moov": empty while the movie is being written, when each fragment tells
// of its own samples, and whole when it is finished.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// Ticks a second of the movie's own clock, in which edits and durations are told.
inline constexpr std::uint32_t movieTimescale = 90000;
/// Seconds from 1904, where the format's dates begin, to 1970.
inline constexpr std::int64_t epochShift = 2'082'844'800;

/// Without samples, for a file of fragments. The number of a track in the file is its place, counted from 1.
std::vector<std::uint8_t> makeEmptyIndex(const MovieDescription& movie);

/// `tables` has one for each of the movie's tracks; tracks without a sample are left out. `shift` is added to
/// every offset.
std::vector<std::uint8_t> makeIndex(const MovieDescription& movie, std::span<const SampleTable> tables,
                                    std::int64_t shift);

/// A duration in ticks of one clock, in the nearest ticks of another.
std::uint64_t rescaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to);

}  // namespace lumicrate::isobmff
