// SPDX-License-Identifier: GPL-3.0-or-later
// SourceGeometry: which pixels of the root window a stream shows.
#pragma once

#include "Linux/X11/PixelConversion/BlockRegion.h"
#include "Support/Geometry.h"

#include <optional>
#include <vector>

namespace lumicrate::x11 {

struct SourceGeometry {
    PixelRect region;    ///< on the root window; may reach outside of it
    PixelRect readable;  ///< the part of the region that exists; the rest is black
    bool operator==(const SourceGeometry&) const = default;

    /// From the root window's coordinates to the source's.
    PixelRect toSource(const PixelRect& onRoot) const { return onRoot.offsetBy(-region.x, -region.y); }
    /// The source's blocks that these rectangles on the root window touch, within `readable`.
    BlockRegion blocksIn(const std::vector<PixelRect>& onRoot) const;
    /// Rectangles on the root window that cover these blocks, within `readable`. Their number is limited,
    /// since each costs a request.
    std::vector<PixelRect> rectanglesOnRoot(const BlockRegion& blocks) const;
};

/// `display` and `root` are pixels. `sourceRect` is in points relative to the display; the whole display when
/// it is absent or empty. Position and size are rounded independently, so that the size in pixels does not
/// depend on the position: at scale 2, x = 10.25 and width = 30.25 give 21 and 61 wherever the display is.
SourceGeometry sourceGeometry(const PixelRect& display, const PixelRect& root,
                              const std::optional<Rect>& sourceRect, double scale);

}  // namespace lumicrate::x11
