// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcMatches.h"

#include <cstdlib>
#include <cstring>

namespace lumicrate::media {

namespace {

constexpr int side = 8;
constexpr int log2Places = 18;
/// Beyond this, vectors and their differences would not fit into 16 bits as quarters of pixels.
constexpr int maxDistance = 4000;
constexpr std::int32_t nowhere = INT32_MIN / 2;

/// Which of the kept places belongs to the luma of a block inside of the picture.
std::size_t slotOf(const CVPixelBuffer& picture, int x, int y) {
    const std::uint8_t* line = picture.luma + std::ptrdiff_t{y} * picture.lumaStride + x;
    std::uint64_t hash = 0;
    for (int row = 0; row < side; ++row, line += picture.lumaStride) {
        std::uint64_t pixels = 0;
        std::memcpy(&pixels, line, side);
        hash = (hash ^ pixels) * 0x9e3779b97f4a7c15;
        hash ^= hash >> 29;
    }
    return static_cast<std::size_t>(hash * 0xd6e8feb86659fd93 >> (64 - log2Places));
}

bool isInside(const CVPixelBuffer& picture, int x, int y) {
    return x >= 0 && y >= 0 && x + side <= picture.width && y + side <= picture.height;
}

}  // namespace

HevcMatches::HevcMatches() : places_(std::size_t{1} << log2Places, Place{nowhere, nowhere}) {}

void HevcMatches::scroll(const ScrollDistance& distance) {
    lastOrigin_ = origin_;
    origin_.x -= distance.x;
    origin_.y -= distance.y;
}

std::optional<HevcVector> HevcMatches::find(const CVPixelBuffer& picture, int x, int y) const {
    if (!isInside(picture, x, y)) return std::nullopt;
    const Place& place = places_[slotOf(picture, x, y)];
    const int right = place.x - lastOrigin_.x - x;
    const int down = place.y - lastOrigin_.y - y;
    if (std::abs(right) > maxDistance || std::abs(down) > maxDistance) return std::nullopt;
    return HevcVector{static_cast<std::int16_t>(right), static_cast<std::int16_t>(down)};
}

void HevcMatches::add(const CVPixelBuffer& picture, int x, int y) {
    for (int top = y - side + 1; top <= y; ++top) {
        for (int left = x; left < x + side; ++left)
            if (isInside(picture, left, top))
                places_[slotOf(picture, left, top)] = {left + origin_.x, top + origin_.y};
    }
}

}  // namespace lumicrate::media
