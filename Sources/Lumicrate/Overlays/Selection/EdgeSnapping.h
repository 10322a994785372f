// SPDX-License-Identifier: GPL-3.0-or-later
// EdgeSnapping: snaps the edges of a selection to the edges of windows and of the screen.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"
#include "Support/Geometry.h"

#include <vector>

namespace lumicrate {

/// An edge snaps to the nearest line within reach. Lines are the edges and the centre lines of the screen,
/// and the edges of windows, as far as the window is beside the edge. Points, y up or down.
///
/// Example: the screen is 1000 × 800, a window spans x 200 … 500 and y 100 … 400. The point (203, 300) snaps
/// to (200, 300), the window's left edge. The point (203, 600) stays: at y = 600 the window is not beside it.
/// A selection that is moved to x 103 … 198 snaps to x 105 … 200, because its right edge is 2 points from the
/// window.
class EdgeSnapping {
 public:
    static constexpr double reach = 6;  ///< the maximum distance of a line

    EdgeSnapping(const Rect& bounds, std::vector<Rect> windows);

    /// Snaps each coordinate separately.
    Point point(Point free) const;
    /// Moves the rectangle so that in each direction its nearest edge lies on a line.
    Rect moved(const Rect& free) const;

 private:
    Rect bounds_;
    std::vector<Rect> windows_;
};

}  // namespace lumicrate
