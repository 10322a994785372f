// SPDX-License-Identifier: GPL-3.0-or-later
// Parameter sets and slice headers of HEVC (ITU-T H.265, 7.3), as far as pictures of two coders need them in
// one stream.
//
// Pictures are numbered in the stream (the picture order count), and each names the earlier ones that a
// decoder must keep for it. libx265 numbers its own pictures only. When pictures of HevcPatchCoder are
// between two of them, appendWithPlace() gives the later one its place in the stream.
//
// Example: libx265 codes the pictures 0 and 1, three patches follow as 2, 3 and 4. Each is predicted from the
// one before it and has 1 kept as well. The next picture of libx265 says that it has number 2 and is
// predicted from the picture before it; it becomes number 5, predicted from the one four before it.
#pragma once

#include "Linux/Media/Encoding/BitStream.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

/// What slices depend on in a sequence parameter set.
struct HevcSequence {
    int width = 0;  ///< coded, pixels; a multiple of 8
    int height = 0;
    int log2Tree = 0;   ///< of the side of the largest block
    int orderBits = 0;  ///< of the lowest bits of a picture's number
    bool temporalMotion = false;
    // Of the picture parameter set:
    bool wavefronts = false;
    bool filterFlag = false;  ///< slices say whether filters work across their edges
};

/// Reads libx265's sequence and picture parameter sets; nothing if they have features that patches and
/// appendWithPlace() do not support.
std::optional<HevcSequence> parseHevcSequence(std::span<const std::uint8_t> sequence,
                                              std::span<const std::uint8_t> picture);

/// The picture parameter set of patches, number 1: no deblocking, no wavefronts, blocks of 4 × 4 pixels with
/// or without a transform.
std::vector<std::uint8_t> patchParameterSet();
/// The slices' quantizer is relative to this one.
inline constexpr int patchBaseQuantizer = 26;

/// A picture's place in the stream.
struct HevcPlace {
    int number = 0;
    /// How far before it the picture is from which it is predicted.
    int reference = 1;
    /// How far before it another picture is that the decoder keeps for later ones.
    std::optional<int> kept;
};

/// Begins the only slice of a patch: NAL unit header and slice header, with that many candidates of motion.
void beginPatch(BitWriter& unit, const HevcSequence& sequence, const HevcPlace& place, int candidates,
                int quantizer);
/// Begins the only slice of a key picture with the parameter set of patches.
void beginKeyPicture(BitWriter& unit, int quantizer);

/// Appends a picture's only slice, coded by libx265 and predicted from one picture, with another place in the
/// stream. Returns whether its header was understood.
bool appendWithPlace(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> slice,
                     const HevcSequence& sequence, const HevcPlace& place);

/// Appends a slice of a key picture that begins in row `top`: the only slice of a key picture of the same
/// width, which libx265 coded with the parameter sets `from`. Returns whether its header was understood.
bool appendBand(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> slice,
                const HevcSequence& from, const HevcSequence& sequence, int top);

}  // namespace lumicrate::media
