// MacroblockMap: which blocks of a picture are known to be unchanged, and how finely each was last coded.
//
// The encoder skips a block that is marked constant if the picture before holds it at least as fine as the
// coming one would; the map keeps the same account, so that the rate control knows the work of a picture
// beforehand and the refinement knows what is still coarse.
#pragma once

#include "Linux/Media/Encoding/RateControl.h"
#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::media {

class MacroblockMap {
 public:
    /// Size in pixels.
    MacroblockMap(int width, int height);

    /// Begins a picture. Blocks count as unchanged only when `info` proves it: it bears the number that
    /// follows that of the picture begun before, or the same number again.
    void begin(const std::optional<SCStreamFrameInfo>& info);
    /// Begins the last picture once more.
    void beginAgain();
    /// The work that the begun picture means as a key picture or as one that builds on the last.
    PictureWork work(bool key) const;
    /// The begun picture has been coded.
    void coded(bool key, int quantizer);

    /// Whether any block of the begun picture may be marked at all.
    bool hasConstantBlocks() const { return anyConstant_; }
    /// One flag a block in raster order, 1 where the block is the same as in the picture before.
    const std::vector<std::uint8_t>& constantBlocks() const { return constant_; }
    /// The coarsest quantizer that any block of the last coded picture shows.
    int coarsest() const;

 private:
    void markDirty(const PixelRect& rect);
    void markAll(bool constant);

    int columns_;
    int rows_;
    std::vector<std::uint8_t> constant_;
    std::vector<std::uint8_t> quantizers_;
    bool anyConstant_ = false;
    std::optional<std::uint64_t> lastSequence_;
};

}  // namespace lumicrate::media
