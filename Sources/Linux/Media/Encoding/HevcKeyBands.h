// SPDX-License-Identifier: GPL-3.0-or-later
// HevcKeyBands: key pictures of a calm screen, made of slices that are coded one by one.
//
// A key picture of a screen costs as much as thirty other pictures, yet most of it is the same as in the last
// one. Here the picture is divided into bands of 64 rows, each a slice that does not depend on others. Only
// bands that changed since the last key picture are coded; the others are written again as they are.
#pragma once

#include "Linux/Media/Encoding/HevcHeaders.h"
#include "Linux/Media/Encoding/HevcPatchCoder.h"

#include <x265.h>

#include <memory>
#include <string>
#include <vector>

namespace lumicrate::media {

/// Planes as libx265 reads them, of the coded size.
struct PlanarPicture {
    std::array<const std::uint8_t*, 3> planes;
    std::array<int, 3> strides;
};

/// One thread at a time.
class HevcKeyBands {
 public:
    /// `parameters` and the parameter sets are those of the encoder that codes the other pictures.
    HevcKeyBands(const x265_api& library, const x265_param& parameters, const HevcSequence& sequence,
                 std::vector<std::uint8_t> pictureSet);

    /// Whether key pictures can be coded at all: the picture has at least two bands.
    bool isPossible() const { return bands_.size() > 1; }
    /// Notes what a picture changed: flags of 0 mark macroblocks that may differ from the previous picture.
    /// Without flags all may.
    void note(std::span<const std::uint8_t> constantBlocks);
    /// Appends a key picture. Returns false, and appends nothing, where libx265 does not work as expected.
    bool code(const PlanarPicture& picture, int quantizer, std::vector<std::uint8_t>& sample);
    /// Makes the last key picture the reference of patches.
    void setReference(HevcPatchCoder& patches) const;

 private:
    struct Encoder {
        std::unique_ptr<x265_encoder, void (*)(x265_encoder*)> library{nullptr, nullptr};
        HevcSequence sequence;
    };
    struct Band {
        int top = 0;
        int height = 0;
        bool isChanged = true;
        int quantizer = 0;
        std::vector<std::uint8_t> slice;
        std::array<std::vector<std::uint8_t>, 3> decoded;
    };

    bool open(Encoder& encoder, int height) const;
    bool codeBand(Band& band, const PlanarPicture& picture, int quantizer);

    const x265_api& library_;
    x265_param parameters_;
    HevcSequence sequence_;
    std::vector<std::uint8_t> pictureSet_;
    std::vector<Band> bands_;
    Encoder upper_;  ///< of all bands but the last, which may be higher
    Encoder last_;
};

}  // namespace lumicrate::media
