// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures of our own HEVC coder in planes, and blocks of 8 × 8 pixels of them.
#pragma once

#include "Linux/Media/Encoding/HevcMotion.h"
#include "Platform/CMSampleBuffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::media {

/// A plane of a decoded picture.
struct DecodedPlane {
    const std::uint8_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;
};

/// Luma, 8 × 8, then Cb and Cr, 4 × 4, row by row.
struct HevcBlock {
    static constexpr int side = 8;
    static constexpr std::array<std::size_t, 3> begins{0, 64, 80};
    std::array<std::uint8_t, 96> pixels;

    const std::uint8_t* plane(std::size_t index) const { return pixels.data() + begins[index]; }
    std::uint8_t* plane(std::size_t index) { return pixels.data() + begins[index]; }
    static constexpr int sideOf(std::size_t plane) { return plane == 0 ? side : side / 2; }

    /// The sums of squared differences of luma and of chroma.
    struct Distance {
        int luma;
        int chroma;
    };
    Distance distance(const HevcBlock& other) const;
};

/// Y, Cb and Cr of a picture whose sides are multiples of 8.
class HevcPlanes {
 public:
    HevcPlanes(int width, int height);

    int width() const { return width_; }
    int height() const { return height_; }
    std::ptrdiff_t stride(std::size_t plane) const { return plane == 0 ? width_ : width_ / 2; }
    std::uint8_t* at(std::size_t plane, int x, int y) {
        return planes_[plane].data() + y * stride(plane) + x;
    }
    const std::uint8_t* at(std::size_t plane, int x, int y) const {
        return planes_[plane].data() + y * stride(plane) + x;
    }

    /// Copies rows of a decoded picture; `top` and `rows` are those of Y.
    void copyRows(const std::array<DecodedPlane, 3>& planes, int top, int rows);
    void write(const HevcBlock& block, int x, int y);
    /// Whether the block, moved by the vector, is inside.
    bool contains(int x, int y, HevcVector vector) const;
    /// The prediction of the block at that place, as a decoder makes it. contains() must hold.
    HevcBlock moved(int x, int y, HevcVector vector) const;

 private:
    void interpolate(std::size_t plane, int left, int top, std::uint8_t* into) const;

    int width_;
    int height_;
    std::array<std::vector<std::uint8_t>, 3> planes_;
};

/// A block of a captured picture, whose last column and row are repeated beyond it.
HevcBlock sourceBlock(const CVPixelBuffer& picture, int x, int y);

}  // namespace lumicrate::media
