// From the server's pixels to the points that the recorder counts in.
#pragma once

#include "Support/Geometry.h"

namespace lumicrate::x11 {

/// `scale` is the number of pixels in a point.
inline Rect pointsFromPixels(const PixelRect& pixels, double scale) {
    return Rect{double(pixels.x), double(pixels.y), double(pixels.width), double(pixels.height)}.scaledBy(
        1 / scale);
}

}  // namespace lumicrate::x11
