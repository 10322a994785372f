// SPDX-License-Identifier: GPL-3.0-or-later
// Reads back a movie in progress: the boxes that makeEmptyIndex() and makeFragment() wrote.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// The values of a track's samples unless their fragment has others.
struct SampleDefaults {
    std::uint32_t duration = 0;  ///< ticks
    bool key = false;
};

struct EmptyIndex {
    MovieDescription description;
    std::vector<SampleDefaults> defaults;  ///< one for each track
};

/// Whether this content of a box "moov" announces fragments.
bool announcesFragments(const BoxReader& moov);

/// `moov` is the content of that box. Throws Malformed.
EmptyIndex readEmptyIndex(Brand brand, const BoxReader& moov);

/// One track's samples in a fragment.
struct FragmentRun {
    std::size_t track = 0;         ///< index of the track
    std::uint64_t offset = 0;      ///< of the first sample, from the fragment's beginning
    std::uint64_t size = 0;        ///< of all samples, bytes
    std::uint64_t decodeTime = 0;  ///< of the first, ticks from the beginning of the lead-in
    std::vector<Sample> samples;   ///< at least one
};

struct FragmentIndex {
    std::uint32_t sequence = 0;
    std::vector<FragmentRun> runs;  ///< by increasing track
};

/// `moof` is the whole box, `mediaSize` the size of the content of the "mdat" behind it, `tracks` has one
/// entry for each track of the movie. Returns nothing unless the fragment is exactly as makeFragment() writes
/// one: all samples within the "mdat", one behind the other, and only the last of a run without a duration.
std::optional<FragmentIndex> readFragmentIndex(std::span<const std::uint8_t> moof, std::uint64_t mediaSize,
                                               std::span<const SampleDefaults> tracks);

}  // namespace lumicrate::isobmff
