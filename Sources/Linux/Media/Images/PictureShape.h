// SPDX-License-Identifier: GPL-3.0-or-later
// The orientation of a movie's pictures, and their size when they are shown.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <span>

namespace lumicrate::media {

/// How a coded picture is turned to be upright: first rows and columns are swapped, then each direction is
/// reversed. For example a quarter turn clockwise is {true, true, false}.
struct Orientation {
    bool swapsAxes = false;
    bool reversesX = false;
    bool reversesY = false;

    bool operator==(const Orientation&) const = default;
};

/// From a container's display matrix (nine numbers, of which only the rotation is used), to the nearest
/// quarter turn. For another number of elements there is no turn.
Orientation orientationOf(std::span<const std::int32_t> displayMatrix);

struct PixelSize {
    int width = 0;
    int height = 0;

    bool operator==(const PixelSize&) const = default;
};

/// The size of coded pictures of `coded` pixels, each `pixelAspect` times as wide as high, when they are
/// shown upright in square pixels and shrunk to fit into `maximum`. At least one pixel in each direction.
PixelSize shownSize(PixelSize coded, double pixelAspect, const Orientation& orientation, Size maximum);

}  // namespace lumicrate::media
