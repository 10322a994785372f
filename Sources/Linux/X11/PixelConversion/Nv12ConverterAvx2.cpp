// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/PixelConversion/Nv12Converter.h"

#if defined(__x86_64__)

#include <immintrin.h>

namespace lumicrate::x11 {

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
    const __m256i weights = _mm256_set1_epi32(nv12::lumaBlue | nv12::lumaGreen << 8 | nv12::lumaRed << 16);
    const __m256i middle = _mm256_set1_epi8(static_cast<char>(0x80));
    const __m256i offset = _mm256_set1_epi16(static_cast<short>(128 * nv12::lumaSum + nv12::lumaOffset));
    const __m256i left = _mm256_maddubs_epi16(weights, _mm256_xor_si256(pixels.left, middle));
    const __m256i right = _mm256_maddubs_epi16(weights, _mm256_xor_si256(pixels.right, middle));
    const __m256i sums = _mm256_permute4x64_epi64(_mm256_hadd_epi16(left, right), 0xD8);
    const __m256i luma = _mm256_srli_epi16(_mm256_add_epi16(sums, offset), nv12::lumaShift);
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
        std::uint64_t{nv12::cbBlue} | std::uint64_t{static_cast<std::uint16_t>(nv12::cbGreen)} << 16 |
        std::uint64_t{static_cast<std::uint16_t>(nv12::cbRed)} << 32));
    const __m256i crWeights = _mm256_set1_epi64x(static_cast<long long>(
        std::uint64_t{static_cast<std::uint16_t>(nv12::crBlue)} |
        std::uint64_t{static_cast<std::uint16_t>(nv12::crGreen)} << 16 | std::uint64_t{nv12::crRed} << 32));
    const __m256i weighted =
        _mm256_hadd_epi32(_mm256_madd_epi16(sums, cbWeights), _mm256_madd_epi16(sums, crWeights));
    return _mm256_srai_epi32(_mm256_add_epi32(weighted, _mm256_set1_epi32(nv12::chromaOffset)),
                             nv12::chromaShift);
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

}  // namespace lumicrate::x11

#else

namespace lumicrate::x11 {

Nv12Kernel avx2Nv12Kernel() {
    return nullptr;
}

}  // namespace lumicrate::x11

#endif
