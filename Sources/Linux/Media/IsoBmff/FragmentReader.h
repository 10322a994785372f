// Reads fragments of a movie in progress: what makeFragment wrote.
#pragma once

#include "Linux/Media/IsoBmff/EmptyIndexReader.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// What a fragment tells of one track's samples.
struct FragmentRun {
    std::size_t track = 0;         ///< its place in the movie
    std::uint64_t offset = 0;      ///< of the first sample, from the fragment's beginning
    std::uint64_t size = 0;        ///< of all samples, bytes
    std::uint64_t decodeTime = 0;  ///< of the first, ticks from the beginning of the lead-in
    std::vector<Sample> samples;   ///< one at least
};

struct FragmentIndex {
    std::uint32_t sequence = 0;
    std::vector<FragmentRun> runs;  ///< by rising tracks
};

/// `moof` is all of that box, `mediaSize` the length of what the "mdat" behind it holds, `tracks` one for
/// each of the movie's. Nothing unless all is as it was written: each sample in its place within the "mdat",
/// and each but a run's last with a duration.
std::optional<FragmentIndex> readFragmentIndex(std::span<const std::uint8_t> moof, std::uint64_t mediaSize,
                                               std::span<const SampleDefaults> tracks);

}  // namespace lumicrate::isobmff
