// SPDX-License-Identifier: GPL-3.0-or-later
// HevcPatchCoder: codes an HEVC picture that differs little from the one before it, such as a typed letter.
//
// libx265 compares and analyses every block of a picture. Here unchanged blocks cost nothing but a bin in
// each block of 32 × 32 pixels. In changed ones, blocks of 8 × 8 pixels get the difference to the previous
// picture, without motion: good for letters and carets.
#pragma once

#include "Linux/Media/Encoding/CabacWriter.h"
#include "Linux/Media/Encoding/HevcHeaders.h"
#include "Platform/CMSampleBuffer.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::media {

/// A plane of a decoded picture.
struct DecodedPlane {
    const std::uint8_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;
};

/// One thread at a time.
class HevcPatchCoder {
 public:
    explicit HevcPatchCoder(const HevcSequence& sequence);

    /// Copies rows of the picture that the decoder has before the patch: Y, Cb and Cr of the sequence's
    /// width. `top` and `rows` are those of Y, multiples of 8.
    void setReference(const std::array<DecodedPlane, 3>& planes, int top, int rows);
    /// Appends a picture to `sample`, predicted from the reference, and makes it the reference. Flags of 0
    /// mark macroblocks of 16 × 16 pixels that may differ, in raster order over the picture's size.
    void code(const CVPixelBuffer& picture, std::span<const std::uint8_t> constantBlocks, int quantizer,
              const HevcPlace& place, std::vector<std::uint8_t>& sample);

 private:
    static constexpr int side = 8;  ///< of a coded block; its chroma blocks have half of it
    struct Plane {
        int width = 0;
        std::vector<std::uint8_t> pixels;
    };
    /// The quantized difference of a block: Y, Cb and Cr. Unused if it is none.
    struct Block {
        std::array<std::array<std::int16_t, side * side>, 3> levels;
        std::array<bool, 3> isCoded;
    };

    void compare(const CVPixelBuffer& picture, int column, int row, int quantizer);
    void compareMacroblocks(const CVPixelBuffer& picture, std::span<const std::uint8_t> constantBlocks,
                            int quantizer);
    bool hasCoded(int x, int y, int length) const;
    void codeTree(int x, int y, int log2, int depth);
    void codeBlock(const Block& block);
    void codeLevels(const std::array<std::int16_t, side * side>& levels, bool isChroma);
    void codeLast(int place, std::size_t contexts, int length, bool isChroma);
    void codeMagnitudes(std::span<const int> levels, std::size_t set, bool& wasLarge, bool isChroma);
    void codeRemaining(std::uint32_t value, int rice);

    HevcSequence sequence_;
    int columns_;  ///< in blocks of 8 × 8
    int rows_;
    std::array<Plane, 3> reference_;
    std::vector<Block> blocks_;
    std::vector<std::int32_t> index_;   ///< of each place's block in blocks_; −1 where nothing is coded
    std::vector<std::uint8_t> depths_;  ///< of each place's block in the tree
    BitWriter unit_;
    CabacWriter cabac_;
};

}  // namespace lumicrate::media
