// SPDX-License-Identifier: GPL-3.0-or-later
// PictureRenderer: converts decoded pictures to upright RGB pictures of another size; Orientation and
// shownSize(): how a movie says which way is up, and how large its pictures are when they are shown.
#pragma once

#include "Linux/Media/Libav.h"
#include "Platform/AVAsset.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <memory>
#include <span>

struct SwsContext;

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

/// The size of coded pictures of `coded` pixels, each `pixelAspect` times as wide as high, when they are
/// shown upright in square pixels and shrunk to fit into `maximum`. At least one pixel in each direction.
PixelSize shownSize(PixelSize coded, double pixelAspect, const Orientation& orientation, Size maximum);

/// One thread at a time.
class PictureRenderer {
 public:
    /// `shown` is the size of the upright pictures.
    PictureRenderer(PixelSize shown, const Orientation& orientation);

    /// Draws `frame` into `image`. The matrix is that of the frame; where it has none, BT.709 or BT.601 by
    /// its size. Throws PlatformError for a pixel format that cannot be converted.
    void render(const AVFrame& frame, CGImage& image);

 private:
    struct Free {
        void operator()(SwsContext* scaler) const;
    };

    void scale(const AVFrame& frame, int colorSpace, bool fullRange);

    PixelSize shown_;
    Orientation orientation_;
    std::unique_ptr<SwsContext, Free> scaler_;
    OwnedFrame scaled_;  // YUV 4:4:4, not yet upright
};

}  // namespace lumicrate::media
