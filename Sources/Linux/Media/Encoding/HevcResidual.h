// SPDX-License-Identifier: GPL-3.0-or-later
// The differences between blocks and their predictions in HEVC: transforms, quantization (ITU-T H.265, 8.6)
// and the syntax of the coefficients (7.3.8.11).
#pragma once

#include "Linux/Media/Encoding/CabacWriter.h"

#include <array>
#include <cstdint>

namespace lumicrate::media::hevc {

/// A difference or its quantized coefficients: length × length values row by row, length 8 or 4.
using Square = std::array<std::int16_t, 64>;

enum class Transform : std::uint8_t {
    cosine,
    sine,   ///< of luma predicted from its own picture, 4 × 4
    plain,  ///< none: pixels are quantized; 4 × 4
};

/// The order in which coefficients are coded.
enum class Scan : std::uint8_t { diagonal, rows, columns };

/// The quantizer of chroma for that of luma.
int chromaQuantizer(int luma);

/// Transforms and quantizes a difference in place. Fractions of a step below 1 − 1/`rounding` become zero.
/// Returns whether anything is left.
bool quantize(Square& block, int length, int quantizer, Transform transform, int rounding);

/// Adds the difference that a decoder computes from the levels.
void addRestored(const Square& levels, int length, int quantizer, Transform transform, std::uint8_t* pixels,
                 std::ptrdiff_t stride);

/// Codes levels, of which at least one is not zero.
void codeLevels(CabacWriter& cabac, const Square& levels, int length, bool isChroma, Transform transform,
                Scan scan);

/// About how many bits codeLevels() takes.
int estimateBits(const Square& levels, int length);

}  // namespace lumicrate::media::hevc
