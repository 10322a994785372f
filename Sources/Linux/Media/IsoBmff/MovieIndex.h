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
/// added to every offset.
std::vector<std::uint8_t> makeIndex(const MovieDescription& movie, std::span<const SampleTable> tables,
                                    std::int64_t shift);

/// Converts a duration from ticks of one clock to the nearest ticks of another.
std::uint64_t rescaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to);

}  // namespace lumicrate::isobmff
