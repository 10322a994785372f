// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures that tests paint, and the samples of pictures that were delivered.
#pragma once

#include "Linux/Pictures/Nv12Converter.h"
#include "Linux/Pictures/PixelBufferPool.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace lumicrate::test {

/// `colour(x, y)` is called row by row.
template <class Colour>
pictures::BgraPicture painted(int width, int height, Colour colour) {
    pictures::BgraPicture picture(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.row(y)[x] = static_cast<std::uint32_t>(colour(x, y));
    return picture;
}

inline pictures::BgraPicture plain(int width, int height, std::uint32_t colour) {
    return painted(width, height, [colour](int, int) { return colour; });
}

/// Luma and chroma, rows without gaps.
struct Picture {
    Picture() = default;
    explicit Picture(const CVPixelBuffer& buffer) : width(buffer.width), height(buffer.height) {
        for (int row = 0; row < height; ++row)
            luma.insert(luma.end(), buffer.luma + row * buffer.lumaStride,
                        buffer.luma + row * buffer.lumaStride + width);
        for (int row = 0; row < (height + 1) / 2; ++row)
            chroma.insert(chroma.end(), buffer.chroma + row * buffer.chromaStride,
                          buffer.chroma + row * buffer.chromaStride + chromaWidth());
    }
    /// A screen's picture, converted by the reference kernel.
    explicit Picture(const pictures::BgraPicture& screen) {
        pictures::PixelBuffer buffer(screen.width(), screen.height());
        pictures::convertToNv12(
            screen.view(), screen.bounds(),
            {buffer.writableLuma(), buffer.lumaStride, buffer.writableChroma(), buffer.chromaStride},
            pictures::convertRowPair);
        *this = Picture(buffer);
    }
    std::uint8_t y(int column, int row) const { return luma[static_cast<std::size_t>(row * width + column)]; }
    int chromaWidth() const { return (width + 1) / 2 * 2; }
    /// Replaces a part with that of a picture of the same size.
    void copy(const PixelRect& rect, const Picture& from) {
        for (int row = rect.y; row < rect.maxY(); ++row) {
            const std::ptrdiff_t lumaAt = std::ptrdiff_t{row} * width + rect.x;
            const std::ptrdiff_t chromaAt = std::ptrdiff_t{row / 2} * chromaWidth() + rect.x;
            std::copy_n(from.luma.begin() + lumaAt, rect.width, luma.begin() + lumaAt);
            std::copy_n(from.chroma.begin() + chromaAt, (rect.width + 1) / 2 * 2, chroma.begin() + chromaAt);
        }
    }
    bool operator==(const Picture&) const = default;

    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma;
};

}  // namespace lumicrate::test
