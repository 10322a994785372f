// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/ShadowImage.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace lumicrate::pictures {

namespace {

/// The fourth byte of a pixel is undefined.
constexpr std::uint32_t colourMask = 0xffffff;

bool sameColours(const std::uint32_t* a, const std::uint32_t* b, int count) {
    std::uint32_t difference = 0;
    for (int i = 0; i < count; ++i)
        difference |= a[i] ^ b[i];
    return (difference & colourMask) == 0;
}

/// A whole block's row: its length is known at compile time.
bool sameColours(const std::uint32_t* a, const std::uint32_t* b) {
    return sameColours(a, b, BlockRegion::blockSize);
}

int nextBlockEdge(int position) {
    return (position / BlockRegion::blockSize + 1) * BlockRegion::blockSize;
}

/// Visits the rectangle's part in each block that it touches.
template <class Visitor>
void forEachBlock(const PixelRect& rect, Visitor visit) {
    for (int top = rect.y; top < rect.maxY();) {
        const int bottom = std::min(nextBlockEdge(top), rect.maxY());
        for (int left = rect.x; left < rect.maxX();) {
            const int right = std::min(nextBlockEdge(left), rect.maxX());
            visit(PixelRect{left, top, right - left, bottom - top});
            left = right;
        }
        top = bottom;
    }
}

/// The first line of a block in which the picture differs from fresh(line); the block's end if there is none.
template <class Rows>
int firstDifference(const BgraPicture& picture, const PixelRect& block, Rows fresh) {
    const auto same = [&](int line) {
        const std::uint32_t* const kept = picture.row(line) + block.x;
        return block.width == BlockRegion::blockSize ? sameColours(fresh(line), kept)
                                                     : sameColours(fresh(line), kept, block.width);
    };
    int line = block.y;
    while (line < block.maxY() && same(line))
        ++line;
    return line;
}

}  // namespace

void ShadowImage::merge(int x, int y, const BgraView& pixels, BlockRegion& changed) {
    const PixelRect rect{x, y, pixels.width, pixels.height};
    forEachBlock(rect, [&](const PixelRect& block) {
        const auto fresh = [&](int line) { return pixels.row(line - y) + (block.x - x); };
        int line = firstDifference(picture_, block, fresh);
        if (line < block.maxY()) changed.add(block);
        for (; line < block.maxY(); ++line) {
            std::memcpy(picture_.row(line) + block.x, fresh(line),
                        static_cast<std::size_t>(block.width) * sizeof(std::uint32_t));
        }
    });
}

void ShadowImage::replace(BgraPicture fresh, BlockRegion& changed) {
    forEachBlock(picture_.bounds(), [&](const PixelRect& block) {
        const auto row = [&](int line) { return std::as_const(fresh).row(line) + block.x; };
        if (firstDifference(picture_, block, row) < block.maxY()) changed.add(block);
    });
    picture_ = std::move(fresh);
}

void ShadowImage::blackenOutside(const PixelRect& inside, BlockRegion& changed) {
    const PixelRect kept = inside.intersection(picture_.bounds());
    const int width = picture_.width();
    const int height = picture_.height();
    if (kept.isEmpty()) {
        blacken(picture_.bounds(), changed);
        return;
    }
    blacken({0, 0, width, kept.y}, changed);
    blacken({0, kept.maxY(), width, height - kept.maxY()}, changed);
    blacken({0, kept.y, kept.x, kept.height}, changed);
    blacken({kept.maxX(), kept.y, width - kept.maxX(), kept.height}, changed);
}

void ShadowImage::blacken(const PixelRect& rect, BlockRegion& changed) {
    if (rect.isEmpty()) return;
    // One black row, repeated by a stride of 0.
    const std::vector<std::uint32_t> black(static_cast<std::size_t>(rect.width));
    merge(rect.x, rect.y, {black.data(), rect.width, rect.height, 0}, changed);
}

}  // namespace lumicrate::pictures
