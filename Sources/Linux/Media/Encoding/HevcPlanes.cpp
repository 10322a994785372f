// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcPlanes.h"

#include <algorithm>
#include <cstring>

namespace lumicrate::media {

namespace {

template <std::size_t count>
int squares(const std::uint8_t* one, const std::uint8_t* other) {
    int sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const int difference = one[i] - other[i];
        sum += difference * difference;
    }
    return sum;
}

}  // namespace

HevcBlock::Distance HevcBlock::distance(const HevcBlock& other) const {
    return {squares<64>(plane(0), other.plane(0)), squares<32>(plane(1), other.plane(1))};
}

HevcPlanes::HevcPlanes(int width, int height) : width_(width), height_(height) {
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    planes_[0].resize(pixels);
    planes_[1].resize(pixels / 4);
    planes_[2].resize(pixels / 4);
}

void HevcPlanes::copyRows(const std::array<DecodedPlane, 3>& planes, int top, int rows) {
    for (std::size_t i = 0; i < planes.size(); ++i) {
        const int part = i == 0 ? 1 : 2;
        for (int row = 0; row < rows / part; ++row)
            std::copy_n(planes[i].pixels + row * planes[i].stride, stride(i), at(i, 0, top / part + row));
    }
}

void HevcPlanes::write(const HevcBlock& block, int x, int y) {
    for (int row = 0; row < 8; ++row)
        std::memcpy(at(0, x, y + row), block.plane(0) + row * 8, 8);
    for (std::size_t i = 1; i < 3; ++i) {
        for (int row = 0; row < 4; ++row)
            std::memcpy(at(i, x / 2, y / 2 + row), block.plane(i) + row * 4, 4);
    }
}

bool HevcPlanes::contains(int x, int y, HevcVector vector) const {
    const int left = x + vector.x;
    const int top = y + vector.y;
    return left >= 0 && top >= 0 && left + HevcBlock::side <= width_ && top + HevcBlock::side <= height_;
}

HevcBlock HevcPlanes::moved(int x, int y, HevcVector vector) const {
    HevcBlock block;
    const int left = x + vector.x;
    const int top = y + vector.y;
    for (int row = 0; row < 8; ++row)
        std::memcpy(block.plane(0) + row * 8, at(0, left, top + row), 8);
    const bool isHalfX = left % 2 != 0;
    const bool isHalfY = top % 2 != 0;
    for (std::size_t i = 1; i < 3; ++i) {
        if (isHalfX || isHalfY) {
            interpolate(i, left, top, block.plane(i));
            continue;
        }
        for (int row = 0; row < 4; ++row)
            std::memcpy(block.plane(i) + row * 4, at(i, left / 2, top / 2 + row), 4);
    }
    return block;
}

/// Chroma at the place of luma `left`, `top`, of which at least one is odd. Pixels beyond the picture's edges
/// are those on them.
void HevcPlanes::interpolate(std::size_t plane, int left, int top, std::uint8_t* into) const {
    constexpr int size = 7;  // four pixels, one before and two behind
    std::array<int, size * size> pixels;
    const int right = width_ / 2 - 1;
    const int bottom = height_ / 2 - 1;
    for (int y = 0; y < size; ++y) {
        const std::uint8_t* row = at(plane, 0, std::clamp(top / 2 - 1 + y, 0, bottom));
        for (int x = 0; x < size; ++x)
            pixels[static_cast<std::size_t>(y * size + x)] = row[std::clamp(left / 2 - 1 + x, 0, right)];
    }
    const auto between = [](const int* from, std::ptrdiff_t step) {
        return 36 * (from[step] + from[2 * step]) - 4 * (from[0] + from[3 * step]);
    };
    std::array<int, size * 4> rows;  // in 64ths
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int* from = &pixels[static_cast<std::size_t>(y * size + x)];
            rows[static_cast<std::size_t>(y * 4 + x)] = left % 2 != 0 ? between(from, 1) : from[1] * 64;
        }
    }
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int* from = &rows[static_cast<std::size_t>(y * 4 + x)];
            const int value = top % 2 != 0 ? between(from, 4) >> 6 : from[4];
            into[y * 4 + x] = static_cast<std::uint8_t>(std::clamp((value + 32) >> 6, 0, 255));
        }
    }
}

HevcBlock sourceBlock(const CVPixelBuffer& picture, int x, int y) {
    HevcBlock block;
    const bool isInside = x + 8 <= picture.width && y + 8 <= picture.height;
    for (int row = 0; row < 8; ++row) {
        const std::uint8_t* line =
            picture.luma + std::ptrdiff_t{std::min(y + row, picture.height - 1)} * picture.lumaStride;
        std::uint8_t* into = block.plane(0) + row * 8;
        if (isInside) {
            std::memcpy(into, line + x, 8);
            continue;
        }
        for (int column = 0; column < 8; ++column)
            into[column] = line[std::min(x + column, picture.width - 1)];
    }
    const int right = picture.width / 2 - 1;
    const int bottom = picture.height / 2 - 1;
    for (int row = 0; row < 4; ++row) {
        const std::uint8_t* line =
            picture.chroma + std::ptrdiff_t{std::min(y / 2 + row, bottom)} * picture.chromaStride;
        for (int column = 0; column < 4; ++column) {
            const std::uint8_t* pair = line + 2 * std::min(x / 2 + column, right);
            block.plane(1)[row * 4 + column] = pair[0];
            block.plane(2)[row * 4 + column] = pair[1];
        }
    }
    return block;
}

}  // namespace lumicrate::media
