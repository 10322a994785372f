// PictureShape: how large a movie's pictures become, and how they are turned.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <span>

namespace lumicrate::media {

/// Which of the eight ways a coded picture is shown. First rows and columns change places, then each
/// direction is reversed.
struct Orientation {
    bool swapsAxes = false;
    bool reversesX = false;
    bool reversesY = false;

    bool operator==(const Orientation&) const = default;
};

/// From a container's display matrix (nine numbers; all but the rotating part is ignored), to the nearest
/// quarter turn. A matrix of another length turns nothing.
Orientation orientationOf(std::span<const std::int32_t> displayMatrix);

struct PixelSize {
    int width = 0;
    int height = 0;

    bool operator==(const PixelSize&) const = default;
};

/// What coded pictures of `coded` pixels, each `pixelAspect` times as wide as it is high, measure when they
/// are shown in square pixels, upright, and shrunk to fit into `maximum`. At least one pixel.
PixelSize shownSize(PixelSize coded, double pixelAspect, const Orientation& orientation, Size maximum);

}  // namespace lumicrate::media
