// SPDX-License-Identifier: GPL-3.0-or-later
// BlockRegion: a set of 16 × 16 blocks of a picture.
//
// All tracking of changes uses blocks: the cost does not depend on the number of rectangles, rounding is
// always outwards, and encoders work in blocks of this size anyway.
#pragma once

#include "Support/Geometry.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::pictures {

class BlockRegion {
 public:
    static constexpr int blockSize = 16;

    BlockRegion() = default;
    /// An empty region of a picture of that size in pixels.
    BlockRegion(int width, int height);

    /// Adds every block that the rectangle touches. Parts outside the picture are ignored.
    void add(const PixelRect& rect);
    // `other` belongs to a picture of the same size.
    void add(const BlockRegion& other);
    void remove(const BlockRegion& other);
    void keepOnly(const BlockRegion& other);
    void addAll() { add({0, 0, width_, height_}); }
    void clear();
    bool isEmpty() const;
    std::size_t blockCount() const;
    bool operator==(const BlockRegion&) const = default;

    /// The region as rectangles inside the picture that do not overlap.
    std::vector<PixelRect> rectangles() const;
    /// At most `limit` rectangles that cover the region. The closest ones are joined.
    std::vector<PixelRect> rectangles(std::size_t limit) const;

 private:
    std::uint8_t* row(int blockY) { return blocks_.data() + static_cast<std::ptrdiff_t>(blockY) * columns_; }
    const std::uint8_t* row(int blockY) const {
        return blocks_.data() + static_cast<std::ptrdiff_t>(blockY) * columns_;
    }

    int width_ = 0;
    int height_ = 0;
    int columns_ = 0;
    int rows_ = 0;
    std::vector<std::uint8_t> blocks_;  ///< 1 for a block in the region
};

}  // namespace lumicrate::pictures
