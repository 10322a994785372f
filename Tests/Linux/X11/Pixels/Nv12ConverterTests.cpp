#include "Linux/X11/Pixels/Nv12Converter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

namespace lumicrate::x11 {
namespace {

struct Planes {
    Planes(int width, int height)
        : lumaStride(width + 3),
          chromaStride((width + 1) / 2 * 2 + 5),
          luma(static_cast<std::size_t>(lumaStride * height), 0xEE),
          chroma(static_cast<std::size_t>(chromaStride * ((height + 1) / 2)), 0xEE) {}
    Nv12Planes planes() { return {luma.data(), lumaStride, chroma.data(), chromaStride}; }
    bool operator==(const Planes&) const = default;

    int lumaStride;
    int chromaStride;
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma;
};

BgraPicture noise(int width, int height, unsigned seed) {
    BgraPicture picture(width, height);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.row(y)[x] = static_cast<std::uint32_t>(random());
    return picture;
}

struct Exact {
    double y;
    double cb;
    double cr;
};

Exact definition(double r, double g, double b) {
    const double luma = 0.2126 * r + 0.7152 * g + 0.0722 * b;
    return {16 + luma * 219 / 255, 128 + (b - luma) / 1.8556 * 224 / 255,
            128 + (r - luma) / 1.5748 * 224 / 255};
}

TEST(Nv12ConverterTests, EveryColourIsWithinOneOfItsDefinition) {
    for (int r = 0; r <= 255; r += 5) {
        for (int g = 0; g <= 255; g += 5) {
            for (int b = 0; b <= 255; b += 5) {
                const auto pixel = static_cast<std::uint32_t>(r << 16 | g << 8 | b);
                const std::uint32_t row[2] = {pixel, pixel};
                std::uint8_t luma[2];
                std::uint8_t chroma[2];
                convertRowPair(row, row, 2, luma, luma, chroma);
                const Exact exact = definition(r, g, b);
                ASSERT_LT(std::abs(luma[0] - exact.y), 1) << r << " " << g << " " << b;
                ASSERT_LT(std::abs(chroma[0] - exact.cb), 0.55) << r << " " << g << " " << b;
                ASSERT_LT(std::abs(chroma[1] - exact.cr), 0.55) << r << " " << g << " " << b;
            }
        }
    }
}

TEST(Nv12ConverterTests, GreysHaveNoColourAndTheRightEnds) {
    for (int grey = 0; grey <= 255; ++grey) {
        const std::uint32_t row[2] = {grey * 0x010101U, grey * 0x010101U};
        std::uint8_t luma[2];
        std::uint8_t chroma[2];
        convertRowPair(row, row, 2, luma, luma, chroma);
        EXPECT_LT(std::abs(luma[0] - (16 + grey * 219.0 / 255)), 0.6) << grey;
        if (grey == 0) {
            EXPECT_EQ(luma[0], 16);
        }
        if (grey == 255) {
            EXPECT_EQ(luma[0], 235);
        }
        EXPECT_EQ(chroma[0], 128);
        EXPECT_EQ(chroma[1], 128);
    }
}

TEST(Nv12ConverterTests, ChromaIsThatOfTheMeanAndOddEdgesAreRepeated) {
    BgraPicture picture(3, 3);
    const std::uint32_t colours[3][3] = {
        {0xff0000, 0x00ff00, 0x0000ff}, {0x204060, 0xffffff, 0x123456}, {0xabcdef, 0x000000, 0xff8000}};
    for (int y = 0; y < 3; ++y)
        std::copy_n(colours[y], 3, picture.row(y));
    Planes out(3, 3);
    convertToNv12(picture.view(), picture.bounds(), out.planes());
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            double sum[3] = {};
            for (const int row : {2 * y, std::min(2 * y + 1, 2)}) {
                for (const int column : {2 * x, std::min(2 * x + 1, 2)}) {
                    for (int channel = 0; channel < 3; ++channel)
                        sum[channel] += colours[row][column] >> (16 - 8 * channel) & 0xff;
                }
            }
            const Exact exact = definition(sum[0] / 4, sum[1] / 4, sum[2] / 4);
            const auto at = static_cast<std::size_t>(y * out.chromaStride + 2 * x);
            EXPECT_LT(std::abs(out.chroma[at] - exact.cb), 0.55) << x << " " << y;
            EXPECT_LT(std::abs(out.chroma[at + 1] - exact.cr), 0.55) << x << " " << y;
        }
    }
}

TEST(Nv12ConverterTests, TheVectorKernelGivesTheSameBytesAsTheReference) {
    const Nv12Kernel kernel = avx2Nv12Kernel();
    if (kernel == nullptr) GTEST_SKIP() << "This processor has no AVX2.";
    for (int width = 1; width < 100; ++width) {
        const int height = 1 + width % 5;
        const BgraPicture picture = noise(width, height, static_cast<unsigned>(width));
        Planes expected(width, height);
        Planes actual(width, height);
        convertToNv12(picture.view(), picture.bounds(), expected.planes(), convertRowPair);
        convertToNv12(picture.view(), picture.bounds(), actual.planes(), kernel);
        ASSERT_EQ(actual, expected) << width;
    }
    // The corners of the colour cube drive the sums to their ends.
    BgraPicture corners(64, 512);
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 64; ++x) {
            const int bits = (x % 2 == 0 ? y : y >> 3) & 7;
            corners.row(y)[x] = (bits & 1 ? 0xffU : 0U) | (bits & 2 ? 0xff00U : 0U) |
                                (bits & 4 ? 0xff0000U : 0U) | (x % 3 == 0 ? 0xff000000U : 0U);
        }
    }
    Planes expected(64, 512);
    Planes actual(64, 512);
    convertToNv12(corners.view(), corners.bounds(), expected.planes(), convertRowPair);
    convertToNv12(corners.view(), corners.bounds(), actual.planes(), kernel);
    EXPECT_EQ(actual, expected);
}

TEST(Nv12ConverterTests, APartFitsIntoTheWholeAndTouchesNothingElse) {
    const BgraPicture picture = noise(53, 37, 7);
    Planes whole(53, 37);
    convertToNv12(picture.view(), picture.bounds(), whole.planes());
    const PixelRect rect{18, 12, 35, 25};
    Planes part(53, 37);
    convertToNv12(picture.view(), rect, part.planes());
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
}  // namespace lumicrate::x11
