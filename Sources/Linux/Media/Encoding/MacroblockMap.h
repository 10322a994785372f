// SPDX-License-Identifier: GPL-3.0-or-later
// MacroblockMap: which blocks of a picture are known to be unchanged, and the quantizer each was last coded
// with.
//
// The encoder skips a constant block if the previous picture has it at least as fine as the new one would.
// The map tracks the same, so that RateControl can predict the work of a picture and VideoEncoder::refine()
// knows what is still coarse. For example, after a picture coded at 30, a block that does not change is coded
// again by a picture at 20, and then skipped.
#pragma once

#include "Linux/Media/Encoding/RateControl.h"
#include "Linux/Media/Encoding/ScrollSearch.h"
#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

class MacroblockMap {
 public:
    /// Size in pixels.
    MacroblockMap(int width, int height);

    /// Begins a picture. Blocks count as unchanged only if `info` proves it: its sequence number is that of
    /// the previous picture, or the next one.
    void begin(const std::optional<SCStreamFrameInfo>& info);
    /// Where the begun picture may differ from the previous one, pixels.
    const std::vector<PixelRect>& changes() const { return changes_; }
    /// Records which changed blocks of the begun picture show what others showed before. They cost as little
    /// as unchanged ones.
    void addScroll(const ScrollSearch& search, ScrollDistance distance);
    /// Begins the last picture again.
    void beginAgain();
    /// Whether the begun picture is the previous one again.
    bool isRepeat() const { return isRepeat_; }
    /// The work for the begun picture, coded as a key picture, which need not be finer than the last picture,
    /// or based on the last one.
    PictureWork work(bool key) const;
    /// Records that the begun picture was coded. Blocks whose flag in `uncovered` is 1 were coded finer by
    /// uncoveredFiner; it may be empty.
    void coded(bool key, int quantizer, std::span<const std::uint8_t> uncovered);

    /// Whether any block of the begun picture is unchanged.
    bool hasConstantBlocks() const { return anyConstant_; }
    /// One flag for each block in raster order: 1 if it is the same as in the previous picture.
    const std::vector<std::uint8_t>& constantBlocks() const { return constant_; }
    /// The coarsest quantizer of any block of the last coded picture.
    int coarsest() const;

 private:
    void markDirty(const PixelRect& rect);
    void markAll(bool constant);
    std::uint8_t coarsestAt(int x, int y) const;

    int columns_;
    int rows_;
    std::vector<std::uint8_t> constant_;
    std::vector<std::uint8_t> quantizers_;
    /// The quantizer of what each block of the begun picture is predicted from; `unpredicted` without.
    std::vector<std::uint8_t> sources_;
    std::vector<PixelRect> changes_;
    bool anyConstant_ = false;
    bool isAnyCoded_ = false;
    bool isRepeat_ = false;
    std::optional<std::uint64_t> lastSequence_;
};

}  // namespace lumicrate::media
