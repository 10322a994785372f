// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/PictureScaler.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lumicrate::pictures {

namespace {

// Rows are summed in unsigned 16 bits, then halved to fit the signed 16 bits used for the columns.
constexpr int verticalUnit = 256;
constexpr int horizontalUnit = 1 << 14;
constexpr int totalShift = 7 + 14;
constexpr int channels = 4;

}  // namespace

ScalingAxis::ScalingAxis(int source, int target, int unit) {
    const double step = static_cast<double>(source) / target;
    for (int i = 0; i < target; ++i) {
        std::vector<double> parts;
        int first = 0;
        if (step >= 1) {
            const double begin = i * step;
            const double end = std::min((i + 1) * step, double(source));
            first = std::min(static_cast<int>(begin), source - 1);
            for (int s = first; s < end && s < source; ++s)
                parts.push_back(std::min(end, s + 1.0) - std::max(begin, double(s)));
        } else {
            const double centre = std::clamp((i + 0.5) * step - 0.5, 0.0, source - 1.0);
            first = std::min(static_cast<int>(centre), std::max(source - 2, 0));
            const double second = centre - first;
            parts = {1 - second, second};
            if (source == 1) parts = {1};
        }
        append(first, parts, unit);
    }
}

void ScalingAxis::append(int first, const std::vector<double>& parts, int unit) {
    const double sum = std::accumulate(parts.begin(), parts.end(), 0.0);
    const std::size_t start = weights_.size();
    int rest = unit;
    for (const double part : parts) {
        const int weight = static_cast<int>(std::lround(part / sum * unit));
        weights_.push_back(static_cast<std::int16_t>(weight));
        rest -= weight;
    }
    // The rounding error goes to the largest weight, so that the sum is exact and plain areas keep their
    // colour.
    const auto largest =
        std::max_element(weights_.begin() + static_cast<std::ptrdiff_t>(start), weights_.end());
    *largest = static_cast<std::int16_t>(*largest + rest);
    weights_.push_back(0);
    spans_.push_back({first, static_cast<int>(parts.size()), start});
}

ScalingAxis::Range ScalingAxis::affectedBy(Range source) const {
    const auto begin = std::partition_point(spans_.begin(), spans_.end(), [&](const Span& span) {
        return span.first + span.count <= source.begin;
    });
    const auto end =
        std::partition_point(begin, spans_.end(), [&](const Span& span) { return span.first < source.end; });
    return {static_cast<int>(begin - spans_.begin()), static_cast<int>(end - spans_.begin())};
}

PictureScaler::PictureScaler(int sourceWidth, int sourceHeight, int width, int height)
    : horizontal_(sourceWidth, width, horizontalUnit),
      vertical_(sourceHeight, height, verticalUnit),
      row_(static_cast<std::size_t>(sourceWidth + 1) * channels) {}

PixelRect PictureScaler::affectedBy(const PixelRect& source) const {
    const auto columns = horizontal_.affectedBy({source.x, source.maxX()});
    const auto rows = vertical_.affectedBy({source.y, source.maxY()});
    return {columns.begin, rows.begin, columns.end - columns.begin, rows.end - rows.begin};
}

void PictureScaler::scale(const BgraView& source, const PixelRect& rect, BgraPicture& target, int x, int y) {
    if (rect.isEmpty()) return;
    const int last = rect.maxX() - 1;
    const int left = horizontal_.first(rect.x);
    const int right = horizontal_.first(last) + horizontal_.count(last);
    for (int line = rect.y; line < rect.maxY(); ++line) {
        addUpRows(source, line, left, right);
        addUpColumns(rect.x, rect.maxX(), left, target.row(y + line) + x + rect.x);
    }
}

/// Fills row_ with the source's columns from `left` to `right` for line `y` of the result.
void PictureScaler::addUpRows(const BgraView& source, int y, int left, int right) {
    const std::ptrdiff_t values = static_cast<std::ptrdiff_t>(right - left) * channels;
    std::uint16_t* const sums = row_.data();
    const std::int16_t* const weights = vertical_.weights(y);
    std::fill(sums, sums + values + channels, std::uint16_t{0});
    for (int i = 0; i < vertical_.count(y); ++i) {
        const auto* const bytes =
            reinterpret_cast<const std::uint8_t*>(source.row(vertical_.first(y) + i) + left);
        const auto weight = static_cast<std::uint16_t>(weights[i]);
        for (std::ptrdiff_t k = 0; k < values; ++k)
            sums[k] = static_cast<std::uint16_t>(sums[k] + bytes[k] * weight);
    }
    for (std::ptrdiff_t k = 0; k < values; ++k)
        sums[k] = static_cast<std::uint16_t>(sums[k] >> 1);
}

#if defined(__SSE2__)

void PictureScaler::addUpColumns(int begin, int end, int left, std::uint32_t* out) const {
    for (int x = begin; x < end; ++x) {
        const std::uint16_t* sums =
            row_.data() + static_cast<std::ptrdiff_t>(horizontal_.first(x) - left) * channels;
        const std::int16_t* const weights = horizontal_.weights(x);
        __m128i total = _mm_set1_epi32(1 << (totalShift - 1));
        for (int i = 0; i < horizontal_.count(x); i += 2, sums += std::ptrdiff_t{2} * channels) {
            const __m128i two = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sums));
            const __m128i mixed = _mm_unpacklo_epi16(two, _mm_unpackhi_epi64(two, two));
            const auto pair = static_cast<int>(static_cast<std::uint32_t>(weights[i]) |
                                               static_cast<std::uint32_t>(weights[i + 1]) << 16);
            total = _mm_add_epi32(total, _mm_madd_epi16(mixed, _mm_set1_epi32(pair)));
        }
        const __m128i words = _mm_packs_epi32(_mm_srai_epi32(total, totalShift), _mm_setzero_si128());
        *out++ = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
    }
}

#else

void PictureScaler::addUpColumns(int begin, int end, int left, std::uint32_t* out) const {
    for (int x = begin; x < end; ++x) {
        const std::uint16_t* const sums =
            row_.data() + static_cast<std::ptrdiff_t>(horizontal_.first(x) - left) * channels;
        const std::int16_t* const weights = horizontal_.weights(x);
        std::uint32_t pixel = 0;
        for (int channel = 0; channel < channels; ++channel) {
            int total = 1 << (totalShift - 1);
            for (int i = 0; i < horizontal_.count(x); ++i)
                total += sums[i * channels + channel] * weights[i];
            pixel |= static_cast<std::uint32_t>(total >> totalShift) << (8 * channel);
        }
        *out++ = pixel;
    }
}

#endif

}  // namespace lumicrate::pictures
