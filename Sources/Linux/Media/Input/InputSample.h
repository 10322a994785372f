// SPDX-License-Identifier: GPL-3.0-or-later
// InputSample: recorded input as the samples of a metadata track.
//
// A sample is one JSON object in UTF-8, of at most maxInputSample bytes:
//
//     {"kind":"pointer","x":0.5,"y":0.25}
//     {"kind":"press","x":0.5,"y":0.25,"button":1}
//     {"kind":"keys","keys":"Ctrl+S"}
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Platform/RecordedInput.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lumicrate::media {

/// Names the format above in the file.
inline constexpr std::string_view inputMimeType = "application/x-lumicrate-input+json";
/// Ticks a second of the track's clock.
inline constexpr std::uint32_t inputTimescale = 90000;
inline constexpr std::size_t maxInputSample = 1024;

isobmff::TrackDescription inputTrackDescription();

/// Without the time. Positions have five decimals: less than a tenth of a pixel of the largest picture.
std::string inputSample(const RecordedInput& input);

/// The position holds until the next one; presses and keys are valid at their own time only.
inline bool isKeySample(const RecordedInput& input) {
    return input.kind == RecordedInput::Kind::pointer;
}

/// Takes untrusted bytes; nothing unless they are such a sample. The time is left open.
std::optional<RecordedInput> readInputSample(std::span<const std::uint8_t> bytes);

}  // namespace lumicrate::media
