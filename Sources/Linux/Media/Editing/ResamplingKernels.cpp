// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/ResamplingKernels.h"

#include <algorithm>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace lumicrate::media {

namespace {

constexpr int enlargingShift = weightBits - rowBits;
constexpr std::int32_t enlargingHalf = 1 << (enlargingShift - 1);
constexpr std::int32_t blendingHalf = 1 << (weightBits - 1);
constexpr std::int32_t rowHalf = 1 << (rowBits - 1);

std::int16_t enlarged(const std::int16_t* samples, const ResamplingWeights& weights) {
    std::int32_t sum = enlargingHalf;
    for (std::size_t i = 0; i < resamplingTaps; ++i)
        sum += std::int32_t{samples[i]} * weights[i];
    const auto [low, high] = std::minmax(samples[nearTap], samples[nearTap + 1]);
    return static_cast<std::int16_t>(std::clamp(sum >> enlargingShift, low << rowBits, high << rowBits));
}

std::uint8_t blended(const std::array<const std::int16_t*, resamplingTaps>& rows,
                     const ResamplingWeights& weights, std::size_t x) {
    std::int32_t sum = blendingHalf;
    for (std::size_t i = 0; i < resamplingTaps; ++i)
        sum += std::int32_t{rows[i][x]} * weights[i];
    const auto [low, high] = std::minmax(rows[nearTap][x], rows[nearTap + 1][x]);
    const std::int32_t value = std::clamp<std::int32_t>(sum >> weightBits, low, high);
    return static_cast<std::uint8_t>((value + rowHalf) >> rowBits);
}

#if defined(__x86_64__)

constexpr std::size_t lanes = 8;

__m128i load(const std::int16_t* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

__m128i limited(__m128i values, __m128i one, __m128i other) {
    return _mm_min_epi16(_mm_max_epi16(values, _mm_min_epi16(one, other)), _mm_max_epi16(one, other));
}

/// Four results, and the two nearest samples of each, in 32 bits.
struct FourResults {
    __m128i sums;
    __m128i near;
    __m128i next;
};

FourResults enlargedFour(const std::int16_t* samples, const ResamplingTap* taps) {
    __m128i values[4];
    __m128i products[4];
    for (int i = 0; i < 4; ++i) {
        values[i] = load(samples + taps[i].first);
        products[i] = _mm_madd_epi16(values[i], load(taps[i].weights->data()));
        values[i] = _mm_srli_si128(values[i], nearTap * sizeof(std::int16_t));
    }
    const __m128i front = _mm_add_epi32(_mm_unpacklo_epi32(products[0], products[1]),
                                        _mm_unpackhi_epi32(products[0], products[1]));
    const __m128i back = _mm_add_epi32(_mm_unpacklo_epi32(products[2], products[3]),
                                       _mm_unpackhi_epi32(products[2], products[3]));
    const __m128i sums = _mm_add_epi32(_mm_unpacklo_epi64(front, back), _mm_unpackhi_epi64(front, back));
    const __m128i pairs = _mm_unpacklo_epi64(_mm_unpacklo_epi32(values[0], values[1]),
                                             _mm_unpacklo_epi32(values[2], values[3]));
    return {_mm_srai_epi32(_mm_add_epi32(sums, _mm_set1_epi32(enlargingHalf)), enlargingShift),
            _mm_srai_epi32(_mm_slli_epi32(pairs, 16), 16), _mm_srai_epi32(pairs, 16)};
}

void enlargeLanes(const std::int16_t* samples, const ResamplingTap* taps, std::int16_t* results) {
    const FourResults one = enlargedFour(samples, taps);
    const FourResults other = enlargedFour(samples, taps + lanes / 2);
    const __m128i near = _mm_slli_epi16(_mm_packs_epi32(one.near, other.near), rowBits);
    const __m128i next = _mm_slli_epi16(_mm_packs_epi32(one.next, other.next), rowBits);
    const __m128i values = limited(_mm_packs_epi32(one.sums, other.sums), near, next);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(results), values);
}

void blendLanes(const std::array<const std::int16_t*, resamplingTaps>& rows, __m128i weights, std::size_t x,
                std::uint8_t* results) {
    __m128i low = _mm_set1_epi32(blendingHalf);
    __m128i high = low;
    const auto add = [&](std::size_t row, __m128i pair) {
        const __m128i one = load(rows[row] + x);
        const __m128i other = load(rows[row + 1] + x);
        low = _mm_add_epi32(low, _mm_madd_epi16(_mm_unpacklo_epi16(one, other), pair));
        high = _mm_add_epi32(high, _mm_madd_epi16(_mm_unpackhi_epi16(one, other), pair));
    };
    add(0, _mm_shuffle_epi32(weights, 0x00));
    add(2, _mm_shuffle_epi32(weights, 0x55));
    add(4, _mm_shuffle_epi32(weights, 0xAA));
    add(6, _mm_shuffle_epi32(weights, 0xFF));
    const __m128i sums = _mm_packs_epi32(_mm_srai_epi32(low, weightBits), _mm_srai_epi32(high, weightBits));
    const __m128i values = limited(sums, load(rows[nearTap] + x), load(rows[nearTap + 1] + x));
    const __m128i rounded = _mm_srai_epi16(_mm_add_epi16(values, _mm_set1_epi16(rowHalf)), rowBits);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(results), _mm_packus_epi16(rounded, rounded));
}

#endif

}  // namespace

void enlargeRow(const std::int16_t* samples, std::span<const ResamplingTap> taps, std::int16_t* results) {
    std::size_t x = 0;
#if defined(__x86_64__)
    for (; x + lanes <= taps.size(); x += lanes)
        enlargeLanes(samples, taps.data() + x, results + x);
#endif
    for (; x < taps.size(); ++x)
        results[x] = enlarged(samples + taps[x].first, *taps[x].weights);
}

void blendRows(const std::array<const std::int16_t*, resamplingTaps>& rows, const ResamplingWeights& weights,
               std::span<std::uint8_t> results) {
    std::size_t x = 0;
#if defined(__x86_64__)
    const __m128i vector = load(weights.data());
    for (; x + lanes <= results.size(); x += lanes)
        blendLanes(rows, vector, x, results.data() + x);
#endif
    for (; x < results.size(); ++x)
        results[x] = blended(rows, weights, x);
}

}  // namespace lumicrate::media
