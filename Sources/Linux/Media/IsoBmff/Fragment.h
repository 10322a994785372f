// Fragment: a stretch of a movie in progress that can be read by itself: the boxes "moof", which tells of its
// samples, and "mdat", which holds them.
#pragma once

#include "Linux/Media/IsoBmff/BoxWriter.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// What is told of key samples and others: whether they depend on others, and whether one can begin there.
inline constexpr std::uint32_t keySampleFlags = 0x02000000;
inline constexpr std::uint32_t otherSampleFlags = 0x01010000;
/// Ticks that a sample of AAC lasts unless something else is told.
inline constexpr std::uint32_t aacFrameLength = 1024;

/// Flag of the box "tfhd": a run's data offset counts from the fragment's beginning.
inline constexpr std::uint32_t offsetsFromFragment = 0x020000;
/// Flags of the box "trun": what it tells, of all its samples and of each.
inline constexpr std::uint32_t runHasDataOffset = 0x001;
inline constexpr std::uint32_t runHasDurations = 0x100;
inline constexpr std::uint32_t runHasSizes = 0x200;
inline constexpr std::uint32_t runHasFlags = 0x400;

/// A fragment's length is a multiple of this; less than this of its end is unused.
inline constexpr std::size_t fragmentAlignment = 8;

/// Samples of one track that follow one another.
struct TrackRun {
    std::size_t track = 0;  ///< its place in the movie
    bool video = false;
    /// When the first sample is decoded, which is when it is presented; ticks from the beginning of the
    /// lead-in.
    std::uint64_t decodeTime = 0;
    std::vector<Sample> samples;
    std::vector<std::uint8_t> data;  ///< of all samples
};

struct Fragment {
    /// Where things of a run lie, counted from the fragment's beginning.
    struct Place {
        std::size_t data = 0;
        /// The four bytes that tell the last sample's duration; none for sound, whose durations never change.
        std::optional<std::size_t> lastDuration;
    };

    std::vector<std::uint8_t> bytes;
    std::vector<Place> places;  ///< as the runs
};

/// `sequence` counts a movie's fragments from 1.
Fragment makeFragment(std::uint32_t sequence, std::span<const TrackRun> runs);

/// The box "sbgp" that has `sampleCount` samples of AAC belong to their track's one roll group.
void writeRollGroup(BoxWriter& writer, std::size_t sampleCount);

}  // namespace lumicrate::isobmff
