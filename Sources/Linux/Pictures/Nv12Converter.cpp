// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/Nv12Converter.h"

#include <algorithm>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace lumicrate::pictures {

namespace {

// The integer coefficients of all kernels.

// Luma in units of 1 ⁄ 256: 219 ⁄ 255 · 256 times the BT.709 weights, rounded.
constexpr int lumaBlue = 16;
constexpr int lumaGreen = 157;
constexpr int lumaRed = 47;
constexpr int lumaSum = lumaBlue + lumaGreen + lumaRed;
constexpr int lumaShift = 8;
/// 16, plus one half so that the shift rounds, minus half of what rounding the weights adds to white.
constexpr int lumaOffset = (16 << lumaShift) + (1 << (lumaShift - 1)) - 18;

// Chroma in units of 1 ⁄ 32768, for sums of four pixels. The weights of each sum to 0, so that greys stay
// neutral.
constexpr int cbBlue = 14392;
constexpr int cbGreen = -11094;
constexpr int cbRed = -3298;
constexpr int crBlue = -1320;
constexpr int crGreen = -13072;
constexpr int crRed = 14392;
constexpr int chromaShift = 17;
constexpr int chromaOffset = (128 << chromaShift) + (1 << (chromaShift - 1));

static_assert(cbBlue + cbGreen + cbRed == 0 && crBlue + crGreen + crRed == 0);

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
    const int sum = lumaBlue * blue(pixel) + lumaGreen * green(pixel) + lumaRed * red(pixel);
    return static_cast<std::uint8_t>((sum + lumaOffset) >> lumaShift);
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
        const int cb = cbBlue * b + cbGreen * g + cbRed * r + chromaOffset;
        const int cr = crBlue * b + crGreen * g + crRed * r + chromaOffset;
        chroma[x] = static_cast<std::uint8_t>(cb >> chromaShift);
        chroma[x + 1] = static_cast<std::uint8_t>(cr >> chromaShift);
    }
}

#if defined(__x86_64__)

namespace {

#define LUMICRATE_AVX2 __attribute__((target("avx2"), always_inline)) inline

/// Sixteen pixels, eight to a register.
struct Pixels {
    __m256i left;
    __m256i right;
};

LUMICRATE_AVX2 Pixels load(const std::uint32_t* pixels) {
    return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels)),
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels + 8))};
}

/// The luma of sixteen pixels. The instruction multiplies unsigned by signed bytes. The coefficients need all
/// eight bits, so the pixels are the signed operand: 128 is subtracted first and added again with the offset.
LUMICRATE_AVX2 __m128i lumaOf(const Pixels& pixels) {
    const __m256i weights = _mm256_set1_epi32(lumaBlue | lumaGreen << 8 | lumaRed << 16);
    const __m256i middle = _mm256_set1_epi8(static_cast<char>(0x80));
    const __m256i offset = _mm256_set1_epi16(static_cast<short>(128 * lumaSum + lumaOffset));
    const __m256i left = _mm256_maddubs_epi16(weights, _mm256_xor_si256(pixels.left, middle));
    const __m256i right = _mm256_maddubs_epi16(weights, _mm256_xor_si256(pixels.right, middle));
    const __m256i sums = _mm256_permute4x64_epi64(_mm256_hadd_epi16(left, right), 0xD8);
    const __m256i luma = _mm256_srli_epi16(_mm256_add_epi16(sums, offset), lumaShift);
    return _mm_packus_epi16(_mm256_castsi256_si128(luma), _mm256_extracti128_si256(luma, 1));
}

/// Per channel, the sums of the 2 × 2 pixels of four chroma columns, in 16 bits.
LUMICRATE_AVX2 __m256i sumsOf(__m256i top, __m256i bottom) {
    const __m256i pairs = _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15, 0, 4, 1, 5,
                                           2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    const __m256i ones = _mm256_set1_epi8(1);
    return _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_shuffle_epi8(top, pairs), ones),
                            _mm256_maddubs_epi16(_mm256_shuffle_epi8(bottom, pairs), ones));
}

/// Cb, Cb, Cr, Cr of two columns in each half of the register, in 32 bits.
LUMICRATE_AVX2 __m256i chromaOf(__m256i sums) {
    const __m256i cbWeights = _mm256_set1_epi64x(static_cast<long long>(
        std::uint64_t{cbBlue} | std::uint64_t{static_cast<std::uint16_t>(cbGreen)} << 16 |
        std::uint64_t{static_cast<std::uint16_t>(cbRed)} << 32));
    const __m256i crWeights = _mm256_set1_epi64x(static_cast<long long>(
        std::uint64_t{static_cast<std::uint16_t>(crBlue)} |
        std::uint64_t{static_cast<std::uint16_t>(crGreen)} << 16 | std::uint64_t{crRed} << 32));
    const __m256i weighted =
        _mm256_hadd_epi32(_mm256_madd_epi16(sums, cbWeights), _mm256_madd_epi16(sums, crWeights));
    return _mm256_srai_epi32(_mm256_add_epi32(weighted, _mm256_set1_epi32(chromaOffset)), chromaShift);
}

/// The eight chroma pairs of sixteen columns.
LUMICRATE_AVX2 __m128i chromaOf(const Pixels& top, const Pixels& bottom) {
    const __m256i both = _mm256_packs_epi32(chromaOf(sumsOf(top.left, bottom.left)),
                                            chromaOf(sumsOf(top.right, bottom.right)));
    const __m128i bytes = _mm_packus_epi16(_mm256_castsi256_si128(both), _mm256_extracti128_si256(both, 1));
    return _mm_shuffle_epi8(bytes, _mm_setr_epi8(0, 2, 1, 3, 8, 10, 9, 11, 4, 6, 5, 7, 12, 14, 13, 15));
}

LUMICRATE_AVX2 void store(std::uint8_t* target, __m128i bytes) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), bytes);
}

__attribute__((target("avx2"))) void convertRowPairAvx2(const std::uint32_t* top, const std::uint32_t* bottom,
                                                        int width, std::uint8_t* lumaTop,
                                                        std::uint8_t* lumaBottom, std::uint8_t* chroma) {
    constexpr int step = 16;
    int x = 0;
    for (; x + step <= width; x += step) {
        const Pixels above = load(top + x);
        const Pixels below = load(bottom + x);
        store(lumaTop + x, lumaOf(above));
        store(lumaBottom + x, lumaOf(below));
        store(chroma + x, chromaOf(above, below));
    }
    if (x < width) convertRowPair(top + x, bottom + x, width - x, lumaTop + x, lumaBottom + x, chroma + x);
}

#undef LUMICRATE_AVX2

}  // namespace

Nv12Kernel avx2Nv12Kernel() {
    return __builtin_cpu_supports("avx2") ? convertRowPairAvx2 : nullptr;
}

#else

Nv12Kernel avx2Nv12Kernel() {
    return nullptr;
}

#endif

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

}  // namespace lumicrate::pictures
