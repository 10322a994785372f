#include "Linux/X11/ShadowImage.h"

#include <algorithm>
#include <cstring>

namespace lumicrate::x11 {

namespace {

/// The fourth byte of a pixel is whatever the drawing program left there.
constexpr std::uint32_t colourMask = 0xffffff;

bool sameColours(const std::uint32_t* a, const std::uint32_t* b, int count) {
    std::uint32_t difference = 0;
    for (int i = 0; i < count; ++i)
        difference |= a[i] ^ b[i];
    return (difference & colourMask) == 0;
}

/// A whole block's row, of a length that the compiler knows.
bool sameColours(const std::uint32_t* a, const std::uint32_t* b) {
    return sameColours(a, b, BlockRegion::blockSize);
}

int nextBlockEdge(int position) {
    return (position / BlockRegion::blockSize + 1) * BlockRegion::blockSize;
}

}  // namespace

void ShadowImage::merge(int x, int y, const BgraView& pixels, BlockRegion& changed) {
    const int right = x + pixels.width;
    const int bottom = y + pixels.height;
    for (int top = y; top < bottom;) {
        const int blockBottom = std::min(nextBlockEdge(top), bottom);
        for (int left = x; left < right;) {
            const int blockRight = std::min(nextBlockEdge(left), right);
            const int width = blockRight - left;
            const auto fresh = [&](int line) { return pixels.row(line - y) + (left - x); };
            const auto same = [&](int line) {
                const std::uint32_t* const kept = picture_.row(line) + left;
                return width == BlockRegion::blockSize ? sameColours(fresh(line), kept)
                                                       : sameColours(fresh(line), kept, width);
            };
            int line = top;
            while (line < blockBottom && same(line))
                ++line;
            if (line < blockBottom) changed.add(PixelRect{left, top, width, blockBottom - top});
            for (; line < blockBottom; ++line) {
                std::memcpy(picture_.row(line) + left, fresh(line),
                            static_cast<std::size_t>(width) * sizeof(std::uint32_t));
            }
            left = blockRight;
        }
        top = blockBottom;
    }
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
    // One black row, used again for every row: a stride of nothing.
    const std::vector<std::uint32_t> black(static_cast<std::size_t>(rect.width));
    merge(rect.x, rect.y, {black.data(), rect.width, rect.height, 0}, changed);
}

}  // namespace lumicrate::x11
