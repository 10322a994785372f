// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Camera/CameraColorConverter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::media {

namespace {

constexpr int fractionBits = 14;
constexpr int half = 1 << (fractionBits - 1);

/// Y' = luma · (Y − black) + cbToLuma · Cb + crToLuma · Cr + 16, and the like for chroma (which is zero for
/// greys in both spaces, so luma does not contribute to it). In units of 1 ⁄ 2^fractionBits.
struct Matrix {
    int luma;
    int black;  ///< of the source
    int cbToLuma;
    int crToLuma;
    int cbToCb;
    int crToCb;
    int cbToCr;
    int crToCr;
};

/// The weights of red and blue in luma.
struct Weights {
    double red;
    double blue;
    double green() const { return 1 - red - blue; }
};

int fixed(double number) {
    return static_cast<int>(std::lround(number * (1 << fractionBits)));
}

Matrix matrixFor(const CameraColors& colors) {
    constexpr Weights bt709{0.2126, 0.0722};
    constexpr Weights bt601{0.299, 0.114};
    const Weights from = colors.isBt709 ? bt709 : bt601;
    const Weights to = bt709;
    // With Cb and Cr from −0.5 to 0.5: the colours of one unit of Cb and of Cr, at luma 0.
    const double blueOfCb = 2 * (1 - from.blue);
    const double greenOfCb = -blueOfCb * from.blue / from.green();
    const double redOfCr = 2 * (1 - from.red);
    const double greenOfCr = -redOfCr * from.red / from.green();
    const double lumaOfCb = to.green() * greenOfCb + to.blue * blueOfCb;
    const double lumaOfCr = to.green() * greenOfCr + to.red * redOfCr;
    const double cbScale = 1 / (2 * (1 - to.blue));
    const double crScale = 1 / (2 * (1 - to.red));
    const double lumaRange = 219 / (colors.isFullRange ? 255.0 : 219.0);
    const double chromaUnit = colors.isFullRange ? 255.0 : 224.0;
    const double chromaRange = 224 / chromaUnit;
    return {fixed(lumaRange),
            colors.isFullRange ? 0 : 16,
            fixed(lumaOfCb * 219 / chromaUnit),
            fixed(lumaOfCr * 219 / chromaUnit),
            fixed((blueOfCb - lumaOfCb) * cbScale * chromaRange),
            fixed(-lumaOfCr * cbScale * chromaRange),
            fixed(-lumaOfCb * crScale * chromaRange),
            fixed((redOfCr - lumaOfCr) * crScale * chromaRange)};
}

std::uint8_t toByte(int number) {
    return static_cast<std::uint8_t>(std::clamp(number >> fractionBits, 0, 255));
}

/// `deltas` receives what each pair adds to the luma of its two columns.
void convertChromaRow(const Matrix& matrix, std::uint8_t* chroma, int pairs, std::int32_t* deltas) {
    for (int i = 0; i < pairs; ++i) {
        const int cb = chroma[2 * i] - 128;
        const int cr = chroma[2 * i + 1] - 128;
        const std::int32_t delta = cb * matrix.cbToLuma + cr * matrix.crToLuma;
        deltas[2 * i] = delta;
        deltas[2 * i + 1] = delta;
        chroma[2 * i] = toByte(cb * matrix.cbToCb + cr * matrix.crToCb + (128 << fractionBits) + half);
        chroma[2 * i + 1] = toByte(cb * matrix.cbToCr + cr * matrix.crToCr + (128 << fractionBits) + half);
    }
}

void convertLumaRow(const Matrix& matrix, std::uint8_t* luma, int width, const std::int32_t* deltas) {
    const int offset = (16 << fractionBits) + half - matrix.black * matrix.luma;
    for (int x = 0; x < width; ++x)
        luma[x] = toByte(luma[x] * matrix.luma + deltas[x] + offset);
}

}  // namespace

void convertToVideoColors(AVFrame& picture, const CameraColors& colors) {
    if (colors == CameraColors{true, false}) return;
    const Matrix matrix = matrixFor(colors);
    const int pairs = (picture.width + 1) / 2;
    std::vector<std::int32_t> deltas(static_cast<std::size_t>(pairs) * 2);
    for (int y = 0; y < picture.height; y += 2) {
        convertChromaRow(matrix, picture.data[1] + std::ptrdiff_t{y / 2} * picture.linesize[1], pairs,
                         deltas.data());
        for (int row = y; row < std::min(y + 2, picture.height); ++row)
            convertLumaRow(matrix, picture.data[0] + std::ptrdiff_t{row} * picture.linesize[0], picture.width,
                           deltas.data());
    }
}

}  // namespace lumicrate::media
