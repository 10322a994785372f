// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcIntra.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace lumicrate::media::hevc {

namespace {

/// Each pixel with its neighbours, except at both ends.
IntraEdges smoothed(const IntraEdges& edges) {
    IntraEdges result = edges;
    for (std::size_t i = 1; i < static_cast<std::size_t>(4 * edges.side); ++i)
        result.pixels[i] = static_cast<std::uint8_t>(
            (edges.pixels[i - 1] + 2 * edges.pixels[i] + edges.pixels[i + 1] + 2) >> 2);
    return result;
}

void predictPlanar(const IntraEdges& edges, std::uint8_t* block) {
    const int n = edges.side;
    const int log2 = std::countr_zero(static_cast<unsigned>(n));
    for (int y = 0; y < n; ++y) {
        for (int x = 0; x < n; ++x)
            *block++ =
                static_cast<std::uint8_t>(((n - 1 - x) * edges.left(y) + (x + 1) * edges.above(n) +
                                           (n - 1 - y) * edges.above(x) + (y + 1) * edges.left(n) + n) >>
                                          (log2 + 1));
    }
}

void predictMean(const IntraEdges& edges, bool isSmoothed, std::uint8_t* block) {
    const int n = edges.side;
    int sum = n;
    for (int i = 0; i < n; ++i)
        sum += edges.left(i) + edges.above(i);
    const int mean = sum >> (std::countr_zero(static_cast<unsigned>(n)) + 1);
    std::fill_n(block, n * n, static_cast<std::uint8_t>(mean));
    if (!isSmoothed) return;
    block[0] = static_cast<std::uint8_t>((edges.left(0) + 2 * mean + edges.above(0) + 2) >> 2);
    for (int i = 1; i < n; ++i) {
        block[i] = static_cast<std::uint8_t>((edges.above(i) + 3 * mean + 2) >> 2);
        block[i * n] = static_cast<std::uint8_t>((edges.left(i) + 3 * mean + 2) >> 2);
    }
}

/// Half of how the other edge changes.
std::uint8_t bent(int pixel, int edge, int corner) {
    return static_cast<std::uint8_t>(std::clamp(pixel + ((edge - corner) >> 1), 0, 255));
}

}  // namespace

void predictIntra(const IntraEdges& edges, IntraMode mode, bool isLuma, std::uint8_t* block) {
    const int n = edges.side;
    const bool isSmoothed = isLuma && n < maxIntraSide;
    switch (mode) {
        case IntraMode::planar:
            predictPlanar(isLuma && n > 4 ? smoothed(edges) : edges, block);
            break;
        case IntraMode::mean:
            predictMean(edges, isSmoothed, block);
            break;
        case IntraMode::level:
            for (int y = 0; y < n; ++y)
                std::fill_n(block + y * n, n, edges.left(y));
            for (int x = 0; isSmoothed && x < n; ++x)
                block[x] = bent(edges.left(0), edges.above(x), edges.corner());
            break;
        case IntraMode::upright:
            for (int y = 0; y < n; ++y) {
                for (int x = 0; x < n; ++x)
                    block[y * n + x] = edges.above(x);
                if (isSmoothed) block[y * n] = bent(edges.above(0), edges.left(y), edges.corner());
            }
            break;
    }
}

IntraModeCode::IntraModeCode(IntraMode mode, IntraMode left, IntraMode above) {
    const int a = static_cast<int>(left);
    const int b = static_cast<int>(above);
    std::array<int, 3> modes{a, b, 0};
    if (a == b) {
        modes = {0, 1, 26};
        if (a >= 2) modes = {a, 2 + (a + 29) % 32, 2 + (a - 2 + 1) % 32};
    } else if (a == 0 || b == 0) {
        modes[2] = a == 1 || b == 1 ? 26 : 1;
    }
    const int wanted = static_cast<int>(mode);
    rest = wanted;
    for (int i = 0; i < 3; ++i) {
        if (modes[static_cast<std::size_t>(i)] == wanted) likely = i;
        if (modes[static_cast<std::size_t>(i)] < wanted) --rest;
    }
}

}  // namespace lumicrate::media::hevc
