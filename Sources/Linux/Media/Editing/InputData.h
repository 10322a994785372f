// SPDX-License-Identifier: GPL-3.0-or-later
// InputData: the recorded input of a finished movie, and the same in a movie made of it.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"
#include "Platform/AVAsset.h"
#include "Platform/RecordedInput.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace lumicrate::media {

/// Implements AVAssets::recordedInput: samples that are not understood are left out. Any thread.
std::vector<RecordedInput> recordedInputOf(const std::filesystem::path& path);

/// What belongs to a range, with times from its start; everything without a range. The last position before
/// the start becomes the first one, at time zero.
std::vector<RecordedInput> inputIn(const std::optional<CMTimeRange>& range, std::vector<RecordedInput> input);

/// Recorded input as the samples of a track, one behind the other.
struct InputSamples {
    std::vector<isobmff::Sample> samples;
    std::int64_t start = 0;           ///< of the first, ticks
    std::vector<std::uint8_t> bytes;  ///< of all samples

    /// Times must not decrease and not be negative.
    static InputSamples of(const std::vector<RecordedInput>& input);
};

/// An upper bound for the bytes of that track in the index of a file.
std::int64_t inputIndexSpace(std::size_t samples);

}  // namespace lumicrate::media
