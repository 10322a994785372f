// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/PixelConversion/Nv12Converter.h"

#include <algorithm>

namespace lumicrate::x11 {

namespace {

int blue(std::uint32_t pixel) {
    return static_cast<int>(pixel & 0xff);
}

int green(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 8 & 0xff);
}

int red(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 16 & 0xff);
}

std::uint8_t lumaOf(std::uint32_t pixel) {
    const int sum =
        nv12::lumaBlue * blue(pixel) + nv12::lumaGreen * green(pixel) + nv12::lumaRed * red(pixel);
    return static_cast<std::uint8_t>((sum + nv12::lumaOffset) >> nv12::lumaShift);
}

}  // namespace

void convertRowPair(const std::uint32_t* top, const std::uint32_t* bottom, int width, std::uint8_t* lumaTop,
                    std::uint8_t* lumaBottom, std::uint8_t* chroma) {
    for (int x = 0; x < width; ++x) {
        lumaTop[x] = lumaOf(top[x]);
        lumaBottom[x] = lumaOf(bottom[x]);
    }
    for (int x = 0; x < width; x += 2) {
        const int right = std::min(x + 1, width - 1);
        const auto sum = [&](auto channel) {
            return channel(top[x]) + channel(top[right]) + channel(bottom[x]) + channel(bottom[right]);
        };
        const int b = sum(blue);
        const int g = sum(green);
        const int r = sum(red);
        const int cb = nv12::cbBlue * b + nv12::cbGreen * g + nv12::cbRed * r + nv12::chromaOffset;
        const int cr = nv12::crBlue * b + nv12::crGreen * g + nv12::crRed * r + nv12::chromaOffset;
        chroma[x] = static_cast<std::uint8_t>(cb >> nv12::chromaShift);
        chroma[x + 1] = static_cast<std::uint8_t>(cr >> nv12::chromaShift);
    }
}

Nv12Kernel fastestNv12Kernel() {
    static const Nv12Kernel fastest = avx2Nv12Kernel() != nullptr ? avx2Nv12Kernel() : convertRowPair;
    return fastest;
}

void convertToNv12(const BgraView& picture, const PixelRect& rect, const Nv12Planes& planes,
                   Nv12Kernel kernel) {
    for (int y = rect.y; y < rect.maxY(); y += 2) {
        const int below = std::min(y + 1, picture.height - 1);
        const auto luma = [&](int row) {
            return planes.luma + static_cast<std::ptrdiff_t>(row) * planes.lumaStride + rect.x;
        };
        kernel(picture.row(y) + rect.x, picture.row(below) + rect.x, rect.width, luma(y), luma(below),
               planes.chroma + static_cast<std::ptrdiff_t>(y / 2) * planes.chromaStride + rect.x);
    }
}

}  // namespace lumicrate::x11
