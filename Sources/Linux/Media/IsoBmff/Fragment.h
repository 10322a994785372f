// SPDX-License-Identifier: GPL-3.0-or-later
// Fragment: a part of a movie in progress that can be read by itself: the box "moof", which describes its
// samples, and the box "mdat", which holds them.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// Sample flags: whether the sample depends on others, and whether decoding can begin at it.
inline constexpr std::uint32_t keySampleFlags = 0x02000000;
inline constexpr std::uint32_t otherSampleFlags = 0x01010000;
/// Default duration of an AAC sample, ticks.
inline constexpr std::uint32_t aacFrameLength = 1024;

/// Flag of the box "tfhd": data offsets count from the fragment's beginning.
inline constexpr std::uint32_t offsetsFromFragment = 0x020000;
/// Flags of the box "trun": the fields that it has.
inline constexpr std::uint32_t runHasDataOffset = 0x001;
inline constexpr std::uint32_t runHasDurations = 0x100;
inline constexpr std::uint32_t runHasSizes = 0x200;
inline constexpr std::uint32_t runHasFlags = 0x400;

/// A fragment's length is padded to a multiple of this.
inline constexpr std::size_t fragmentAlignment = 8;

/// Consecutive samples of one track.
struct TrackRun {
    std::size_t track = 0;  ///< index of the track
    bool sound = false;
    /// When the first sample is decoded and presented; ticks from the beginning of the lead-in.
    std::uint64_t decodeTime = 0;
    std::vector<Sample> samples;
    std::vector<std::uint8_t> data;  ///< of all samples
};

struct Fragment {
    /// Offsets of a run's data, from the fragment's beginning.
    struct Place {
        std::size_t data = 0;
        /// The four bytes of the last sample's duration; none for sound, whose durations never change.
        std::optional<std::size_t> lastDuration;
    };

    std::vector<std::uint8_t> bytes;
    std::vector<Place> places;  ///< one for each run
};

/// `sequence` counts a movie's fragments from 1.
Fragment makeFragment(std::uint32_t sequence, std::span<const TrackRun> runs);

/// Writes the box "sbgp" that puts `sampleCount` AAC samples into the only roll group of their track.
void writeRollGroup(BoxWriter& writer, std::size_t sampleCount);

}  // namespace lumicrate::isobmff
