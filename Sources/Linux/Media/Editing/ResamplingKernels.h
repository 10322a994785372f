// SPDX-License-Identifier: GPL-3.0-or-later
// ResamplingKernels: the two passes of PlaneResampler, with the vector instructions of every x86-64.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace lumicrate::media {

/// Samples that a result is computed from.
inline constexpr std::size_t resamplingTaps = 8;
/// The tap at or before the position, and the next one, are the two nearest samples: the result lies between
/// them.
inline constexpr std::size_t nearTap = 3;
/// Fractional bits of the weights, and of the samples between the two passes.
inline constexpr int weightBits = 14;
inline constexpr int rowBits = 6;

/// They sum to 1 << weightBits.
using ResamplingWeights = std::array<std::int16_t, resamplingTaps>;

/// How a result sample is computed.
struct ResamplingTap {
    int first;  ///< source sample; may be outside
    const ResamplingWeights* weights;
};

/// Enlarges a row of 8-bit samples, of which `samples` is the first one; those outside that the taps name
/// must exist too. A result has rowBits fractional bits.
void enlargeRow(const std::int16_t* samples, std::span<const ResamplingTap> taps, std::int16_t* results);

/// Blends enlarged rows to 8-bit samples.
void blendRows(const std::array<const std::int16_t*, resamplingTaps>& rows, const ResamplingWeights& weights,
               std::span<std::uint8_t> results);

}  // namespace lumicrate::media
