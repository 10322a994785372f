// EdgeSnapping: draws the edges of a selection to those of windows and of the screen.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"
#include "Support/Geometry.h"

#include <vector>

namespace lumicrate {

/// An edge goes to the nearest line within reach that stands beside it: an edge or the middle of the screen,
/// or the edge of a window. Points; y upwards or downwards.
class EdgeSnapping {
 public:
    static constexpr double reach = 6;

    EdgeSnapping(const Rect& bounds, std::vector<Rect> windows);

    /// Both coordinates on their own.
    Point point(Point free) const;
    /// The rectangle, moved so that one edge in each direction lies on a line.
    Rect moved(const Rect& free) const;

 private:
    Rect bounds_;
    std::vector<Rect> windows_;
};

}  // namespace lumicrate
