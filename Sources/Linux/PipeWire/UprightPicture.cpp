// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/UprightPicture.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace lumicrate::pipewire {

namespace {

/// From the order of bytes in memory to blue in the lowest byte.
template <CastPixels layout>
std::uint32_t bgra(std::uint32_t pixel) {
    switch (layout) {
        case CastPixels::rgbx:
            return (pixel & 0xff00ff00) | (pixel & 0xff) << 16 | (pixel >> 16 & 0xff);
        case CastPixels::xrgb:
            return __builtin_bswap32(pixel);
        case CastPixels::xbgr:
            return pixel >> 8;
        case CastPixels::bgrx:
            break;
    }
    return pixel;
}

template <CastPixels layout>
void readRow(const std::byte* from, std::ptrdiff_t step, std::uint32_t* to, int count) {
    for (int i = 0; i < count; ++i, from += step) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, from, sizeof pixel);
        to[i] = bgra<layout>(pixel);
    }
}

/// Rows in the buffer keep a constant step, which lets the compiler use vector instructions.
template <CastPixels layout>
void readRows(const std::byte* from, std::ptrdiff_t pixelStep, std::ptrdiff_t rowStep, std::uint32_t* to,
              const PixelRect& part) {
    constexpr std::ptrdiff_t adjacent = sizeof(std::uint32_t);
    for (int y = 0; y < part.height; ++y, from += rowStep, to += part.width) {
        if (pixelStep == adjacent) {
            readRow<layout>(from, adjacent, to, part.width);
        } else {
            readRow<layout>(from, pixelStep, to, part.width);
        }
    }
}

}  // namespace

UprightMap::UprightMap(const PixelRect& crop, PictureTransform transform)
    : transform_(transform), content_{0, 0, crop.width, crop.height} {
    const bool isOnSide = transform.quarterTurns % 2 != 0;
    if (isOnSide) std::swap(content_.width, content_.height);
    // The content is mirrored, then turned counter-clockwise as often as the producer did.
    int width = content_.width;
    int height = content_.height;
    if (transform.isFlipped) steps_ = {width - 1, -1, 0, 0, 0, 1};
    for (int i = 0; i < transform.quarterTurns; ++i) {
        // (x, y) goes to (y, width − 1 − x)
        steps_ = {steps_.y0, steps_.yPerX, steps_.yPerY, width - 1 - steps_.x0, -steps_.xPerX, -steps_.xPerY};
        std::swap(width, height);
    }
    steps_.x0 += crop.x;
    steps_.y0 += crop.y;
}

PixelRect UprightMap::toContent(const PixelRect& inBuffer) const {
    if (inBuffer.isEmpty()) return {};
    const auto at = [this](int x, int y) {
        x -= steps_.x0;
        y -= steps_.y0;
        return std::pair(steps_.xPerX * x + steps_.yPerX * y, steps_.xPerY * x + steps_.yPerY * y);
    };
    const auto [x1, y1] = at(inBuffer.x, inBuffer.y);
    const auto [x2, y2] = at(inBuffer.maxX() - 1, inBuffer.maxY() - 1);
    return PixelRect{std::min(x1, x2), std::min(y1, y2), std::abs(x2 - x1) + 1, std::abs(y2 - y1) + 1};
}

pictures::BgraView CastPicture::read(const UprightMap& map, const PixelRect& part,
                                     std::vector<std::uint32_t>& scratch) const {
    constexpr std::ptrdiff_t pixelSize = sizeof(std::uint32_t);
    const auto& [x0, xPerX, xPerY, y0, yPerX, yPerY] = map.steps();
    const std::ptrdiff_t x = x0 + xPerX * part.x + xPerY * part.y;
    const std::ptrdiff_t y = y0 + yPerX * part.x + yPerY * part.y;
    const std::byte* const first = pixels + y * stride + x * pixelSize;
    const auto isAligned = [](std::intptr_t number) { return number % pixelSize == 0; };
    if (layout == CastPixels::bgrx && !map.isTurned() && isAligned(stride) &&
        isAligned(reinterpret_cast<std::intptr_t>(first)))
        return {reinterpret_cast<const std::uint32_t*>(first), part.width, part.height,
                static_cast<int>(stride / pixelSize)};
    scratch.resize(static_cast<std::size_t>(part.area()));
    const auto rows = [&]<CastPixels kind>() {
        readRows<kind>(first, yPerX * stride + xPerX * pixelSize, yPerY * stride + xPerY * pixelSize,
                       scratch.data(), part);
    };
    switch (layout) {
        case CastPixels::bgrx:
            rows.operator()<CastPixels::bgrx>();
            break;
        case CastPixels::rgbx:
            rows.operator()<CastPixels::rgbx>();
            break;
        case CastPixels::xrgb:
            rows.operator()<CastPixels::xrgb>();
            break;
        case CastPixels::xbgr:
            rows.operator()<CastPixels::xbgr>();
            break;
    }
    return {scratch.data(), part.width, part.height, part.width};
}

}  // namespace lumicrate::pipewire
