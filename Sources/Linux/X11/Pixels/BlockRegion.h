// BlockRegion: which 16 × 16 blocks of a picture are meant.
//
// All bookkeeping of what changed where is done in blocks: it costs the same however many rectangles go in,
// nothing is lost by rounding, and an encoder works in blocks of this size anyway.
#pragma once

#include "Support/Geometry.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

class BlockRegion {
 public:
    static constexpr int blockSize = 16;

    BlockRegion() = default;
    /// An empty region of a picture of that many pixels.
    BlockRegion(int width, int height);

    /// Adds every block that the rectangle touches; what lies outside the picture is ignored.
    void add(const PixelRect& rect);
    /// Adds the blocks of a region of a picture of the same size.
    void add(const BlockRegion& other);
    /// Takes out the blocks of a region of a picture of the same size, or all others.
    void remove(const BlockRegion& other);
    void keepOnly(const BlockRegion& other);
    void addAll() { add({0, 0, width_, height_}); }
    void clear();
    bool isEmpty() const;
    std::size_t blockCount() const;
    bool operator==(const BlockRegion&) const = default;

    /// Rectangles that cover the region, inside the picture. Without a limit they are exactly the region and
    /// do not overlap; with one, the nearest are joined until no more than `most` are left.
    std::vector<PixelRect> rectangles() const;
    std::vector<PixelRect> rectangles(std::size_t most) const;

 private:
    std::uint8_t* row(int blockY) { return blocks_.data() + static_cast<std::ptrdiff_t>(blockY) * columns_; }
    const std::uint8_t* row(int blockY) const {
        return blocks_.data() + static_cast<std::ptrdiff_t>(blockY) * columns_;
    }

    int width_ = 0;
    int height_ = 0;
    int columns_ = 0;
    int rows_ = 0;
    std::vector<std::uint8_t> blocks_;  ///< 1 for a block that belongs to the region
};

}  // namespace lumicrate::x11
