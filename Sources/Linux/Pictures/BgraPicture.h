// SPDX-License-Identifier: GPL-3.0-or-later
// BgraPicture: 32-bit pixels in an X server's format: blue in the lowest byte, then green, red and an unused
// byte.
#pragma once

#include "Support/Geometry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace lumicrate::pictures {

/// Borrowed pixels; the stride is in pixels.
struct BgraView {
    const std::uint32_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;

    const std::uint32_t* row(int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * stride; }
};

/// Writable pixels in rows without gaps. Copying copies the pixels.
class BgraPicture {
 public:
    using Memory = std::shared_ptr<std::uint32_t[]>;

    BgraPicture() = default;
    /// All black.
    BgraPicture(int width, int height) : BgraPicture(width, height, blackMemory(width, height)) {}
    /// Uses the pixels in that memory.
    BgraPicture(int width, int height, Memory pixels)
        : width_(width), height_(height), pixels_(std::move(pixels)) {}
    BgraPicture(const BgraPicture& other) : BgraPicture(other.width_, other.height_) {
        std::copy_n(other.row(0), count(width_, height_), row(0));
    }
    BgraPicture& operator=(const BgraPicture& other) { return *this = BgraPicture(other); }
    BgraPicture(BgraPicture&&) noexcept = default;
    BgraPicture& operator=(BgraPicture&&) noexcept = default;
    ~BgraPicture() = default;

    int width() const { return width_; }
    int height() const { return height_; }
    PixelRect bounds() const { return {0, 0, width_, height_}; }
    std::uint32_t* row(int y) { return pixels_.get() + static_cast<std::ptrdiff_t>(y) * width_; }
    const std::uint32_t* row(int y) const { return pixels_.get() + static_cast<std::ptrdiff_t>(y) * width_; }
    BgraView view() const { return {pixels_.get(), width_, height_, width_}; }

 private:
    static std::size_t count(int width, int height) {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    /// calloc: pages are zeroed by the system when they are first touched.
    static Memory blackMemory(int width, int height) {
        void* const zeros =
            std::calloc(std::max<std::size_t>(count(width, height), 1), sizeof(std::uint32_t));
        if (zeros == nullptr) throw std::bad_alloc();
        return Memory(static_cast<std::uint32_t*>(zeros), [](std::uint32_t* pixels) { std::free(pixels); });
    }

    int width_ = 0;
    int height_ = 0;
    Memory pixels_;
};

}  // namespace lumicrate::pictures
