// SPDX-License-Identifier: GPL-3.0-or-later
// Prediction of blocks from the pixels around them in HEVC (ITU-T H.265, 8.4.4.2).
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace lumicrate::media::hevc {

/// The values are the standard's.
enum class IntraMode : std::uint8_t { planar = 0, mean = 1, level = 10, upright = 26 };
inline constexpr std::array<IntraMode, 4> intraModes{IntraMode::mean, IntraMode::upright, IntraMode::level,
                                                     IntraMode::planar};

/// The largest block that is predicted.
inline constexpr int maxIntraSide = 32;

/// Pixels around a block of a plane. What is not available yet repeats the nearest pixel that is, clockwise
/// from the lower left; 128 if none is.
struct IntraEdges {
    /// From the lower left up to the corner, and then on to the upper right: 4 × side + 1 pixels.
    std::array<std::uint8_t, 4 * maxIntraSide + 1> pixels;
    int side;

    std::uint8_t left(int y) const { return pixels[static_cast<std::size_t>(2 * side - 1 - y)]; }
    std::uint8_t corner() const { return pixels[static_cast<std::size_t>(2 * side)]; }
    std::uint8_t above(int x) const { return pixels[static_cast<std::size_t>(2 * side + 1 + x)]; }

    /// `isAvailable(x, y)` says whether the pixel of the plane is known; asked for every `step`-th one.
    template <class Available>
    static IntraEdges of(const std::uint8_t* plane, std::ptrdiff_t stride, int x, int y, int side, int step,
                         const Available& isAvailable);
};

/// Predicts side × side pixels, row by row. Edges of luma are smoothed.
void predictIntra(const IntraEdges& edges, IntraMode mode, bool isLuma, std::uint8_t* block);

/// How the mode of a block is coded when its neighbours have these modes.
struct IntraModeCode {
    int likely = -1;  ///< its place among the three likely ones; negative if it is none of them
    int rest = 0;     ///< its place among the others

    IntraModeCode(IntraMode mode, IntraMode left, IntraMode above);
};

template <class Available>
IntraEdges IntraEdges::of(const std::uint8_t* plane, std::ptrdiff_t stride, int x, int y, int side, int step,
                          const Available& isAvailable) {
    IntraEdges edges;
    edges.side = side;
    bool isAny = false;
    std::size_t end = 0;
    const auto add = [&](int column, int row, int count, std::ptrdiff_t next) {
        const bool available = isAvailable(column, row);
        const std::uint8_t* from = plane + row * stride + column;
        if (available && !isAny) {
            isAny = true;
            std::fill_n(edges.pixels.begin(), end, *from);
        }
        for (int i = 0; i < count; ++i, ++end) {
            const std::uint8_t last = end > 0 ? edges.pixels[end - 1] : 128;
            edges.pixels[end] = available ? from[i * next] : last;
        }
    };
    for (int row = 2 * side; row > 0; row -= step)
        add(x - 1, y + row - 1, step, -stride);
    add(x - 1, y - 1, 1, 1);
    for (int column = 0; column < 2 * side; column += step)
        add(x + column, y - 1, step, 1);
    return edges;
}

}  // namespace lumicrate::media::hevc
