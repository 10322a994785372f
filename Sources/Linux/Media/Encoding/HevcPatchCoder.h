// SPDX-License-Identifier: GPL-3.0-or-later
// HevcPatchCoder: codes HEVC pictures that are mostly made of the one before: a typed letter, a scrolled
// page.
//
// libx265 compares and analyses every block of a picture. Here unchanged blocks cost nothing but a bin in
// each block of 32 × 32 pixels. In changed ones, blocks of 8 × 8 pixels get the difference to the previous
// picture, without motion: good for letters and carets. In a scrolled picture most blocks are copies at the
// distance of the scroll, and what comes into view is predicted from the pixels around it.
#pragma once

#include "Linux/Media/Encoding/CabacWriter.h"
#include "Linux/Media/Encoding/HevcContexts.h"
#include "Linux/Media/Encoding/HevcHeaders.h"
#include "Linux/Media/Encoding/HevcIntraCoder.h"
#include "Linux/Media/Encoding/HevcMatches.h"
#include "Linux/Media/Encoding/HevcMotion.h"
#include "Linux/Media/Encoding/HevcPlanes.h"
#include "Linux/Media/Encoding/HevcResidual.h"
#include "Linux/Media/Encoding/ScrollSearch.h"
#include "Platform/CMSampleBuffer.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

/// One thread at a time.
class HevcPatchCoder {
 public:
    explicit HevcPatchCoder(const HevcSequence& sequence);

    /// Copies rows of the picture that the decoder has before the patch: Y, Cb and Cr of the sequence's
    /// width. `top` and `rows` are those of Y, multiples of 8.
    void setReference(const std::array<DecodedPlane, 3>& planes, int top, int rows);
    /// What the decoder shows after the last picture.
    const HevcPlanes& decoded() const { return shown_; }

    /// Begins a picture that is predicted from the reference. Flags of 0 mark macroblocks of 16 × 16 pixels
    /// that may differ, in raster order over the picture's size; all may without flags. Returns how many
    /// blocks of 8 × 8 pixels a scrolled picture does not share with the reference.
    int compare(const CVPixelBuffer& picture, std::span<const std::uint8_t> constantBlocks,
                const std::optional<ScrollDistance>& scroll, int quantizer);
    /// Appends the begun picture to `sample` and makes it the reference.
    void code(const CVPixelBuffer& picture, const HevcPlace& place, std::vector<std::uint8_t>& sample);
    /// Appends a key picture and makes it the reference.
    void codeKey(const CVPixelBuffer& picture, int quantizer, std::vector<std::uint8_t>& sample);

 private:
    static constexpr int side = HevcBlock::side;
    /// The quantized difference of a block: Y, Cb and Cr. Unused if it is none.
    struct Difference {
        std::array<hevc::Square, 3> levels;
        std::array<bool, 3> isCoded;
    };
    /// What is to be coded in a block.
    struct Cell {
        HevcVector vector;
        std::int32_t difference = -1;  ///< its place in differences_
        bool isNew = false;            ///< predicted from the picture itself
        bool isFar = false;            ///< its prediction is not close to the source
        bool operator==(const Cell&) const = default;
    };

    std::size_t place(int x, int y) const {
        return static_cast<std::size_t>(y / side) * static_cast<std::size_t>(columns_) +
               static_cast<std::size_t>(x / side);
    }
    bool isClose(const HevcBlock::Distance& distance) const;
    void compareBlock(const CVPixelBuffer& picture, int x, int y);
    bool tryVector(const HevcBlock& source, int x, int y, HevcVector vector, int& least);
    void subtract(const CVPixelBuffer& picture, int x, int y);
    bool isWhole(int x, int y, int length) const;
    bool isOneColor(int x, int y, int length) const;
    void codeSlice(const CVPixelBuffer& picture, const hevc::InitialContexts& contexts,
                   std::vector<std::uint8_t>& sample);
    void codeTree(int x, int y, int log2, int depth);
    bool codeBlock(int x, int y, int length, const std::optional<hevc::IntraMode>& flat);
    void codeDifference(const Difference& difference);

    HevcSequence sequence_;
    int columns_;  ///< in blocks of 8 × 8
    int rows_;
    HevcPlanes shown_;
    HevcPlanes before_;  ///< what was shown before a scrolled picture
    std::vector<Cell> cells_;
    std::vector<Difference> differences_;
    std::vector<std::uint8_t> depths_;   ///< of each place's block in the tree
    std::vector<std::uint8_t> skipped_;  ///< whether it is
    HevcMotion motion_;
    HevcIntraCoder intra_;
    bool isKey_ = false;
    std::optional<HevcVector> scroll_;
    HevcMatches matches_;
    int quantizer_ = 0;
    int farDistance_ = 0;
    const CVPixelBuffer* picture_ = nullptr;  ///< while it is coded
    BitWriter unit_;
    CabacWriter cabac_;
};

}  // namespace lumicrate::media
