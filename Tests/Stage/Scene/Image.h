// SPDX-License-Identifier: GPL-3.0-or-later
// Image: a picture drawn in memory, identical on every machine.
#pragma once

#include <cstdint>
#include <vector>

namespace lumicrate::stage {

/// 0xRRGGBB
using Color = std::uint32_t;

constexpr Color color(int red, int green, int blue) {
    return static_cast<Color>(red) << 16 | static_cast<Color>(green) << 8 | static_cast<Color>(blue);
}

/// Pixels from the top-left corner.
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class Image {
 public:
    Image(int width, int height, Color color = 0);

    int width() const { return width_; }
    int height() const { return height_; }
    const std::uint32_t* row(int y) const { return &pixels_[index(0, y)]; }

    /// The part of an area that is inside the image.
    Area clipped(const Area& area) const;
    // All drawing is clipped to the image.
    void set(int x, int y, Color color);
    Color at(int x, int y) const { return pixels_[index(x, y)]; }
    void fill(const Area& area, Color color);
    /// With a smooth edge.
    void disc(double centerX, double centerY, double radius, Color color);
    /// Copies a part of another image, which must be inside of that, to (x, y).
    void copyFrom(const Image& other, const Area& from, int x, int y);

 private:
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<std::uint32_t> pixels_;
};

/// The same numbers from the same seed with every compiler and library.
class Random {
 public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}

    /// 0 … bound − 1
    int below(int bound) {
        // xorshift64*
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return static_cast<int>((state_ * 0x2545F4914F6CDD1DULL >> 33) % static_cast<std::uint64_t>(bound));
    }

 private:
    std::uint64_t state_;
};

/// Soft shades and hard shapes, for moving pictures, large enough for the camera with a view of that size.
Image paintLandscape(int viewWidth, int viewHeight, Random& random);
/// What a camera that pans over the landscape sees in a step.
Area cameraView(int step, int viewWidth, int viewHeight);

}  // namespace lumicrate::stage
