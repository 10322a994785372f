// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/Media/TestPicture.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::test {

TestPicture::TestPicture(int pixelWidth, int pixelHeight) {
    width = pixelWidth;
    height = pixelHeight;
    lumaStride = pixelWidth + 5;
    chromaStride = (pixelWidth + 1) / 2 * 2 + 6;
    lumaBytes_.assign(static_cast<std::size_t>(lumaStride * pixelHeight), 235);
    chromaBytes_.assign(static_cast<std::size_t>(chromaStride * ((pixelHeight + 1) / 2)), 128);
    expose();
}

TestPicture::TestPicture(const TestPicture& other)
    : CVPixelBuffer(other), lumaBytes_(other.lumaBytes_), chromaBytes_(other.chromaBytes_) {
    expose();
}

void TestPicture::expose() {
    luma = lumaBytes_.data();
    chroma = chromaBytes_.data();
}

void TestPicture::fill(const PixelRect& rect, int y, int cb, int cr) {
    const PixelRect part = rect.intersection({0, 0, width, height});
    for (int row = part.y; row < part.maxY(); ++row) {
        for (int column = part.x; column < part.maxX(); ++column) {
            lumaBytes_[static_cast<std::size_t>(row * lumaStride + column)] = static_cast<std::uint8_t>(y);
            const auto pair = static_cast<std::size_t>(row / 2 * chromaStride + column / 2 * 2);
            chromaBytes_[pair] = static_cast<std::uint8_t>(cb);
            chromaBytes_[pair + 1] = static_cast<std::uint8_t>(cr);
        }
    }
}

void TestPicture::print(const PixelRect& rect, unsigned seed) {
    constexpr int cellWidth = 9;
    constexpr int cellHeight = 18;
    std::mt19937 random(seed);
    fill(rect, 235, 128, 128);
    for (int top = rect.y; top < rect.maxY(); top += cellHeight) {
        for (int left = rect.x; left < rect.maxX(); left += cellWidth) {
            if (random() % 6 == 0) continue;  // a space
            for (int stroke = 0; stroke < 3; ++stroke) {
                const int x = left + 1 + static_cast<int>(random() % 6);
                const int y = top + 2 + static_cast<int>(random() % 10);
                const bool upright = random() % 2 == 0;
                const PixelRect line{x, y, upright ? 1 + static_cast<int>(random() % 2) : 6,
                                     upright ? 10 : 1};
                fill(line.intersection({left, top, cellWidth, cellHeight}).intersection(rect), 30, 128, 128);
            }
        }
    }
}

void TestPicture::noise(const PixelRect& rect, unsigned seed) {
    std::mt19937 random(seed);
    for (int row = rect.y; row < rect.maxY(); ++row) {
        for (int column = rect.x; column < rect.maxX(); ++column)
            lumaBytes_[static_cast<std::size_t>(row * lumaStride + column)] =
                static_cast<std::uint8_t>(16 + random() % 220);
    }
}

double psnr(const CVPixelBuffer& source, const stage::Picture& decoded, const PixelRect& rect) {
    double squares = 0;
    for (int y = rect.y; y < rect.maxY(); ++y) {
        for (int x = rect.x; x < rect.maxX(); ++x) {
            const double difference =
                source.luma[std::ptrdiff_t{y} * source.lumaStride + x] - decoded.luma().at(x, y);
            squares += difference * difference;
        }
    }
    const double mean = std::max(squares / static_cast<double>(rect.area()), 1e-9);
    return 10 * std::log10(255 * 255 / mean);
}

}  // namespace lumicrate::test
