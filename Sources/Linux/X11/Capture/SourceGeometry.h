// SourceGeometry: which pixels of the root window a stream shows.
#pragma once

#include "Linux/X11/Pixels/BlockRegion.h"
#include "Support/Geometry.h"

#include <optional>
#include <vector>

namespace lumicrate::x11 {

struct SourceGeometry {
    PixelRect region;    ///< on the root window; may reach outside of it
    PixelRect readable;  ///< the part of the region that exists; the rest is black
    bool operator==(const SourceGeometry&) const = default;
};

/// `display` and `root` are pixels; `sourceRect` is points, relative to the display, all of it when absent or
/// empty; `scale` pixels in a point. Position and size are rounded each by itself, so that a size in pixels
/// does not depend on where the rectangle is.
SourceGeometry sourceGeometry(const PixelRect& display, const PixelRect& root,
                              const std::optional<Rect>& sourceRect, double scale);

/// Rectangles that cover these blocks of the source, on the root window, as far as they exist. There are no
/// more than cost less in requests than they save in pixels.
std::vector<PixelRect> rectanglesOnRoot(const BlockRegion& blocks, const SourceGeometry& geometry);

}  // namespace lumicrate::x11
