// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/Pictures/Pictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace lumicrate::pictures {
namespace {

using test::painted;

struct Planes {
    /// Converts the whole picture, or a part of it, into planes with gaps behind the rows.
    explicit Planes(const BgraPicture& picture, Nv12Kernel kernel = fastestNv12Kernel(), PixelRect rect = {})
        : lumaStride(picture.width() + 3),
          chromaStride((picture.width() + 1) / 2 * 2 + 5),
          luma(static_cast<std::size_t>(lumaStride * picture.height()), 0xEE),
          chroma(static_cast<std::size_t>(chromaStride * ((picture.height() + 1) / 2)), 0xEE) {
        convertToNv12(picture.view(), rect.isEmpty() ? picture.bounds() : rect,
                      {luma.data(), lumaStride, chroma.data(), chromaStride}, kernel);
    }
    bool operator==(const Planes&) const = default;

    int lumaStride;
    int chromaStride;
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma;
};

BgraPicture noise(int width, int height, unsigned seed) {
    return painted(width, height, [random = std::mt19937(seed)](int, int) mutable { return random(); });
}

double lumaOf(const double (&rgb)[3]) {
    return 0.2126 * rgb[0] + 0.7152 * rgb[1] + 0.0722 * rgb[2];
}

void expectChroma(const double (&rgb)[3], int cb, int cr) {
    const double luma = lumaOf(rgb);
    ASSERT_LT(std::abs(cb - (128 + (rgb[2] - luma) / 1.8556 * 224 / 255)), 0.55) << rgb[2];
    ASSERT_LT(std::abs(cr - (128 + (rgb[0] - luma) / 1.5748 * 224 / 255)), 0.55) << rgb[0];
}

TEST(Nv12ConverterTests, EveryColourMatchesItsDefinition) {
    for (int at = 0; at < 52 * 52 * 52; ++at) {
        const int r = at / 52 / 52 * 5, g = at / 52 % 52 * 5, b = at % 52 * 5;
        const Planes out(test::plain(2, 2, std::uint32_t(r << 16 | g << 8 | b)), convertRowPair);
        const double rgb[] = {double(r), double(g), double(b)};
        ASSERT_LT(std::abs(out.luma[0] - (16 + lumaOf(rgb) * 219 / 255)), 1) << r << " " << g << " " << b;
        expectChroma(rgb, out.chroma[0], out.chroma[1]);
    }
    for (int grey = 0; grey <= 255; ++grey) {
        const Planes out(test::plain(2, 2, grey * 0x010101U), convertRowPair);
        EXPECT_LT(std::abs(out.luma[0] - (16 + grey * 219.0 / 255)), grey % 255 == 0 ? 0.01 : 0.6) << grey;
        EXPECT_EQ(out.chroma[0], 128);
        EXPECT_EQ(out.chroma[1], 128);
    }
}

TEST(Nv12ConverterTests, ChromaIsThatOfTheMeanAndOddEdgesAreRepeated) {
    const std::uint32_t colours[3][3] = {
        {0xff0000, 0x00ff00, 0x0000ff}, {0x204060, 0xffffff, 0x123456}, {0xabcdef, 0x000000, 0xff8000}};
    const Planes out(painted(3, 3, [&](int x, int y) { return colours[y][x]; }));
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            double mean[3] = {};
            for (const int row : {2 * y, std::min(2 * y + 1, 2)})
                for (const int column : {2 * x, std::min(2 * x + 1, 2)})
                    for (int channel = 0; channel < 3; ++channel)
                        mean[channel] += (colours[row][column] >> (16 - 8 * channel) & 0xff) / 4.0;
            const auto at = static_cast<std::size_t>(y * out.chromaStride + 2 * x);
            expectChroma(mean, out.chroma[at], out.chroma[at + 1]);
        }
    }
}

TEST(Nv12ConverterTests, TheVectorKernelProducesTheSameBytesAsTheReference) {
    const Nv12Kernel kernel = avx2Nv12Kernel();
    if (kernel == nullptr) GTEST_SKIP() << "This processor has no AVX2.";
    for (int width = 1; width < 100; ++width) {
        const BgraPicture picture = noise(width, 1 + width % 5, static_cast<unsigned>(width));
        ASSERT_EQ(Planes(picture, kernel), Planes(picture, convertRowPair)) << width;
    }
    // The corners of the colour cube lead to the largest and smallest sums.
    const BgraPicture corners = painted(64, 512, [](int x, int y) {
        const int bits = (x % 2 == 0 ? y : y >> 3) & 7;
        return (bits & 1 ? 0xffU : 0U) | (bits & 2 ? 0xff00U : 0U) | (bits & 4 ? 0xff0000U : 0U) |
               (x % 3 == 0 ? 0xff000000U : 0U);
    });
    EXPECT_EQ(Planes(corners, kernel), Planes(corners, convertRowPair));
}

TEST(Nv12ConverterTests, APartMatchesTheWholeAndNothingElseIsWritten) {
    const BgraPicture picture = noise(53, 37, 7);
    const PixelRect rect{18, 12, 35, 25};
    const Planes whole(picture);
    const Planes part(picture, fastestNv12Kernel(), rect);
    for (int y = 0; y < 37; ++y) {
        for (int x = 0; x < 53; ++x) {
            const bool inside = x >= rect.x && y >= rect.y;
            const auto luma = static_cast<std::size_t>(y * whole.lumaStride + x);
            const auto chroma = static_cast<std::size_t>(y / 2 * whole.chromaStride + x);
            ASSERT_EQ(part.luma[luma], inside ? whole.luma[luma] : 0xEE) << x << " " << y;
            ASSERT_EQ(part.chroma[chroma], inside ? whole.chroma[chroma] : 0xEE) << x << " " << y;
        }
    }
}

}  // namespace
}  // namespace lumicrate::pictures
