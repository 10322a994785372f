// Pictures of 32-bit pixels as an X server hands them out: blue in the lowest byte, then green, red and a
// byte that means nothing.
#pragma once

#include "Support/Geometry.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// Somebody else's pixels; the stride is in pixels.
struct BgraView {
    const std::uint32_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;

    const std::uint32_t* row(int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * stride; }
};

/// Pixels of its own, black at first.
class BgraPicture {
 public:
    BgraPicture() = default;
    BgraPicture(int width, int height)
        : width_(width),
          height_(height),
          pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

    int width() const { return width_; }
    int height() const { return height_; }
    PixelRect bounds() const { return {0, 0, width_, height_}; }
    std::uint32_t* row(int y) { return pixels_.data() + static_cast<std::ptrdiff_t>(y) * width_; }
    const std::uint32_t* row(int y) const { return pixels_.data() + static_cast<std::ptrdiff_t>(y) * width_; }
    BgraView view() const { return {pixels_.data(), width_, height_, width_}; }

 private:
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint32_t> pixels_;
};

}  // namespace lumicrate::x11
