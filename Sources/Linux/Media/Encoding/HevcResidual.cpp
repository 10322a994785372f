// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcResidual.h"

#include "Linux/Media/Encoding/HevcContexts.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <span>
#include <utility>

namespace lumicrate::media::hevc {

namespace {

template <std::size_t n>
using Matrix = std::array<std::array<int, n>, n>;

/// Rows of frequencies.
constexpr Matrix<8> cosines8{{{64, 64, 64, 64, 64, 64, 64, 64},
                              {89, 75, 50, 18, -18, -50, -75, -89},
                              {83, 36, -36, -83, -83, -36, 36, 83},
                              {75, -18, -89, -50, 50, 89, 18, -75},
                              {64, -64, -64, 64, 64, -64, -64, 64},
                              {50, -89, 18, 75, -75, -18, 89, -50},
                              {36, -83, 83, -36, -36, 83, -83, 36},
                              {18, -50, 75, -89, 89, -75, 50, -18}}};
constexpr Matrix<4> cosines4{{{64, 64, 64, 64}, {83, 36, -36, -83}, {64, -64, -64, 64}, {36, -83, 83, -36}}};
constexpr Matrix<4> sines4{{{29, 55, 74, 84}, {74, 74, 0, -74}, {84, -29, -74, 55}, {55, -84, 74, -29}}};

// By the quantizer modulo 6.
constexpr std::array<int, 6> quantization{26214, 23302, 20560, 18396, 16384, 14564};
constexpr std::array<int, 6> scaling{40, 45, 51, 57, 64, 72};

struct Place {
    int x;
    int y;
};
using Order = std::array<Place, 16>;
/// The order of coefficients in a group of 4 × 4: up the diagonals, by rows, by columns.
constexpr std::array<Order, 3> orders{{{{{0, 0},
                                         {0, 1},
                                         {1, 0},
                                         {0, 2},
                                         {1, 1},
                                         {2, 0},
                                         {0, 3},
                                         {1, 2},
                                         {2, 1},
                                         {3, 0},
                                         {1, 3},
                                         {2, 2},
                                         {3, 1},
                                         {2, 3},
                                         {3, 2},
                                         {3, 3}}},
                                       {{{0, 0},
                                         {1, 0},
                                         {2, 0},
                                         {3, 0},
                                         {0, 1},
                                         {1, 1},
                                         {2, 1},
                                         {3, 1},
                                         {0, 2},
                                         {1, 2},
                                         {2, 2},
                                         {3, 2},
                                         {0, 3},
                                         {1, 3},
                                         {2, 3},
                                         {3, 3}}},
                                       {{{0, 0},
                                         {0, 1},
                                         {0, 2},
                                         {0, 3},
                                         {1, 0},
                                         {1, 1},
                                         {1, 2},
                                         {1, 3},
                                         {2, 0},
                                         {2, 1},
                                         {2, 2},
                                         {2, 3},
                                         {3, 0},
                                         {3, 1},
                                         {3, 2},
                                         {3, 3}}}}};
/// And of the groups in a block of 8 × 8.
constexpr std::array<std::array<Place, 4>, 3> groupOrders{{{{{0, 0}, {0, 1}, {1, 0}, {1, 1}}},
                                                           {{{0, 0}, {1, 0}, {0, 1}, {1, 1}}},
                                                           {{{0, 0}, {0, 1}, {1, 0}, {1, 1}}}}};

template <std::size_t n>
void transformForward(Square& block, const Matrix<n>& matrix) {
    constexpr int log2 = n == 8 ? 3 : 2;
    std::array<int, n * n> rows;
    for (std::size_t y = 0; y < n; ++y) {
        for (std::size_t k = 0; k < n; ++k) {
            int sum = 1 << (log2 - 2);
            for (std::size_t x = 0; x < n; ++x)
                sum += matrix[k][x] * block[y * n + x];
            rows[y * n + k] = sum >> (log2 - 1);
        }
    }
    for (std::size_t v = 0; v < n; ++v) {
        std::array<int, n> sums;
        sums.fill(1 << (log2 + 5));
        for (std::size_t y = 0; y < n; ++y) {
            for (std::size_t k = 0; k < n; ++k)
                sums[k] += matrix[v][y] * rows[y * n + k];
        }
        for (std::size_t k = 0; k < n; ++k)
            block[v * n + k] = static_cast<std::int16_t>(sums[k] >> (log2 + 6));
    }
}

template <std::size_t n>
void transformBack(Square& block, const Matrix<n>& matrix) {
    std::array<int, n * n> columns;
    for (std::size_t y = 0; y < n; ++y) {
        std::array<int, n> sums;
        sums.fill(64);
        for (std::size_t v = 0; v < n; ++v) {
            for (std::size_t k = 0; k < n; ++k)
                sums[k] += matrix[v][y] * block[v * n + k];
        }
        for (std::size_t k = 0; k < n; ++k)
            columns[y * n + k] = std::clamp(sums[k] >> 7, -32768, 32767);
    }
    for (std::size_t y = 0; y < n; ++y) {
        std::array<int, n> sums;
        sums.fill(2048);
        for (std::size_t k = 0; k < n; ++k) {
            for (std::size_t x = 0; x < n; ++x)
                sums[x] += matrix[k][x] * columns[y * n + k];
        }
        for (std::size_t x = 0; x < n; ++x)
            block[y * n + x] = static_cast<std::int16_t>(std::clamp(sums[x] >> 12, -32768, 32767));
    }
}

/// The context of a coefficient by what is coded in its group's neighbours: 1 for the one on the right, 2 for
/// the one below.
std::size_t coefficientContext(Place in, bool isFirstGroup, int length, int neighbours, bool isChroma,
                               Scan scan) {
    constexpr std::array<std::uint8_t, 16> inSmall{0, 1, 4, 5, 2, 3, 4, 5, 6, 6, 8, 8, 7, 7, 8, 8};
    const std::size_t first = coefficientContexts + (isChroma ? 27 : 0);
    if (length == 4) return first + inSmall[static_cast<std::size_t>(in.y * 4 + in.x)];
    if (isFirstGroup && in.x + in.y == 0) return first;
    int context = 2;
    if (neighbours == 0) context = in.x + in.y == 0 ? 2 : in.x + in.y < 3 ? 1 : 0;
    if (neighbours == 1) context = in.y == 0 ? 2 : in.y == 1 ? 1 : 0;
    if (neighbours == 2) context = in.x == 0 ? 2 : in.x == 1 ? 1 : 0;
    return first + static_cast<std::size_t>(context) + (scan == Scan::diagonal ? 9 : 15) +
           (isFirstGroup ? 0 : 3);
}

/// A coordinate of the last coefficient, without the bits that follow both coordinates.
void codeLast(CabacWriter& cabac, int place, std::size_t contexts, int length, bool isChroma) {
    const int prefix = place < 4 ? place : 2 + place / 2;
    const int most = length == 8 ? 5 : 3;
    for (int i = 0; i < most; ++i) {
        const int context = isChroma ? 15 + i : length == 8 ? 3 + i / 2 : i;
        cabac.bin(contexts + static_cast<std::size_t>(context), i < prefix);
        if (i == prefix) break;
    }
}

/// What is left of a magnitude: a unary prefix, and then a number of bits that grows with it.
void codeRemaining(CabacWriter& cabac, std::uint32_t value, int rice) {
    constexpr std::uint32_t shortPrefix = 3;
    if (value < shortPrefix << rice) {
        const auto prefix = static_cast<int>(value >> rice);
        cabac.bypass((1U << (prefix + 1)) - 2, prefix + 1);
        cabac.bypass(value & ((1U << rice) - 1), rice);
        return;
    }
    value -= shortPrefix << rice;
    int length = rice;
    for (; value >= 1U << length; ++length)
        value -= 1U << length;
    const int prefix = 3 + length - rice;
    cabac.bypass((1U << (prefix + 1)) - 2, prefix + 1);
    cabac.bypass(value, length);
}

/// The values of a group's coefficients that are not zero. `set` is a set of contexts; another one is used
/// when the group before had values above one.
void codeMagnitudes(CabacWriter& cabac, std::span<const int> levels, std::size_t set, bool& wasLarge,
                    bool isChroma) {
    constexpr std::size_t flagged = 8;
    if (wasLarge) ++set;
    std::size_t context = 1;
    std::size_t firstLarge = flagged;
    for (std::size_t i = 0; i < std::min(levels.size(), flagged); ++i) {
        const bool isLarge = std::abs(levels[i]) > 1;
        cabac.bin(aboveOneContexts + 4 * set + context + (isChroma ? 16 : 0), isLarge);
        if (isLarge && firstLarge == flagged) firstLarge = i;
        if (isLarge) context = 0;
        if (context > 0) context = std::min<std::size_t>(context + 1, 3);
    }
    wasLarge = context == 0;
    if (firstLarge < flagged)
        cabac.bin(aboveTwoContexts + set + (isChroma ? 4 : 0), std::abs(levels[firstLarge]) > 2);
    std::uint32_t signs = 0;
    for (const int level : levels)
        signs = signs << 1 | (level < 0 ? 1 : 0);
    cabac.bypass(signs, static_cast<int>(levels.size()));
    int rice = 0;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const int known = i >= flagged ? 1 : i == firstLarge ? 3 : 2;  // by the flags
        const int magnitude = std::abs(levels[i]);
        if (magnitude < known) continue;
        codeRemaining(cabac, static_cast<std::uint32_t>(magnitude - known), rice);
        if (magnitude > 3 << rice) rice = std::min(rice + 1, 4);
    }
}

}  // namespace

int chromaQuantizer(int luma) {
    constexpr std::array<int, 14> between{29, 30, 31, 32, 33, 33, 34, 34, 35, 35, 36, 36, 37, 37};
    if (luma < 30) return luma;
    return luma >= 44 ? luma - 6 : between[static_cast<std::size_t>(luma - 30)];
}

bool quantize(Square& block, int length, int quantizer, Transform transform, int rounding) {
    const int log2 = length == 8 ? 3 : 2;
    if (transform == Transform::plain) {
        for (std::size_t i = 0; i < 16; ++i)
            block[i] = static_cast<std::int16_t>(block[i] * 32);
    } else if (length == 8) {
        transformForward<8>(block, cosines8);
    } else {
        transformForward<4>(block, transform == Transform::sine ? sines4 : cosines4);
    }
    const int shift = 21 - log2 + quantizer / 6;
    const int scale = quantization[static_cast<std::size_t>(quantizer % 6)];
    const int rest = (1 << shift) / rounding;
    int any = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(length) * static_cast<std::size_t>(length); ++i) {
        const int coefficient = block[i];
        const int level = static_cast<int>(
            (static_cast<std::uint32_t>(std::abs(coefficient)) * static_cast<std::uint32_t>(scale) +
             static_cast<std::uint32_t>(rest)) >>
            shift);
        block[i] = static_cast<std::int16_t>(coefficient < 0 ? -level : level);
        any |= level;
    }
    return any != 0;
}

void addRestored(const Square& levels, int length, int quantizer, Transform transform, std::uint8_t* pixels,
                 std::ptrdiff_t stride) {
    const auto n = static_cast<std::size_t>(length);
    const int log2 = length == 8 ? 3 : 2;
    const std::int64_t factor = scaling[static_cast<std::size_t>(quantizer % 6)] * 16 << quantizer / 6;
    const int shift = log2 + 3;
    Square block;
    for (std::size_t i = 0; i < n * n; ++i)
        block[i] = static_cast<std::int16_t>(
            std::clamp<std::int64_t>((levels[i] * factor + (1 << (shift - 1))) >> shift, -32768, 32767));
    if (transform == Transform::plain) {
        for (std::size_t i = 0; i < 16; ++i)
            block[i] = static_cast<std::int16_t>((block[i] + 16) >> 5);
    } else if (length == 8) {
        transformBack<8>(block, cosines8);
    } else {
        transformBack<4>(block, transform == Transform::sine ? sines4 : cosines4);
    }
    for (std::size_t y = 0; y < n; ++y, pixels += stride) {
        for (std::size_t x = 0; x < n; ++x)
            pixels[x] = static_cast<std::uint8_t>(std::clamp(pixels[x] + block[y * n + x], 0, 255));
    }
}

void codeLevels(CabacWriter& cabac, const Square& levels, int length, bool isChroma, Transform transform,
                Scan scan) {
    if (length == 4) cabac.bin(plainContexts + (isChroma ? 1 : 0), transform == Transform::plain);
    const Order& order = orders[static_cast<std::size_t>(scan)];
    const auto& groups = groupOrders[static_cast<std::size_t>(scan)];
    const std::size_t groupCount = length == 4 ? 1 : groups.size();
    const auto at = [&](std::size_t group, std::size_t i) {
        return int{levels[static_cast<std::size_t>((groups[group].y * 4 + order[i].y) * length +
                                                   groups[group].x * 4 + order[i].x)]};
    };
    std::size_t lastGroup = groupCount - 1;
    std::size_t last = 15;
    while (at(lastGroup, last) == 0) {
        lastGroup -= last == 0 ? 1 : 0;
        last = last == 0 ? 15 : last - 1;
    }
    int lastX = groups[lastGroup].x * 4 + order[last].x;
    int lastY = groups[lastGroup].y * 4 + order[last].y;
    if (scan == Scan::columns) std::swap(lastX, lastY);
    codeLast(cabac, lastX, lastXContexts, length, isChroma);
    codeLast(cabac, lastY, lastYContexts, length, isChroma);
    if (lastX >= 4) cabac.bypass(static_cast<std::uint32_t>(lastX & 1), 1);
    if (lastY >= 4) cabac.bypass(static_cast<std::uint32_t>(lastY & 1), 1);

    std::array<std::array<bool, 3>, 3> isCoded{};  // by row and column
    bool wasLarge = false;
    for (std::size_t group = lastGroup + 1; group-- > 0;) {
        const bool isLast = group == lastGroup;
        const auto row = static_cast<std::size_t>(groups[group].y);
        const auto column = static_cast<std::size_t>(groups[group].x);
        // Those on the right of and below a group come before it.
        const int neighbours = (isCoded[row][column + 1] ? 1 : 0) + (isCoded[row + 1][column] ? 2 : 0);
        std::array<int, 16> values;
        std::size_t count = 0;
        for (std::size_t i = 0; i < 16; ++i) {
            values[i] = at(group, i);
            count += values[i] != 0 ? 1 : 0;
        }
        const bool isFlagged = !isLast && group > 0;
        isCoded[row][column] = count > 0 || !isFlagged;
        if (isFlagged) cabac.bin(groupContexts + (neighbours != 0 ? 1 : 0) + (isChroma ? 2 : 0), count > 0);
        if (!isCoded[row][column]) continue;
        std::array<int, 16> found;
        count = 0;
        for (std::size_t i = isLast ? last + 1 : 16; i-- > 0;) {
            const bool isKnown = (isLast && i == last) || (i == 0 && isFlagged && count == 0);
            if (!isKnown)
                cabac.bin(coefficientContext(order[i], group == 0, length, neighbours, isChroma, scan),
                          values[i] != 0);
            if (values[i] != 0) found[count++] = values[i];
        }
        if (count > 0)
            codeMagnitudes(cabac, {found.data(), count}, group > 0 && !isChroma ? 2 : 0, wasLarge, isChroma);
    }
}

int estimateBits(const Square& levels, int length) {
    int bits = 6;
    int zeros = 0;  // those at the end are not coded
    for (std::size_t i = 0; i < static_cast<std::size_t>(length) * static_cast<std::size_t>(length); ++i) {
        if (levels[i] == 0) {
            ++zeros;
            continue;
        }
        bits += 2 + 2 * std::bit_width(static_cast<unsigned>(std::abs(levels[i]))) - 1;
    }
    return bits + (length * length - zeros > 0 ? zeros / 2 : 0);
}

}  // namespace lumicrate::media::hevc
