// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionGeometry: computes the selected rectangle when it is drawn, moved, resized or given an aspect
// ratio, and EdgeSnapping, which aligns it with windows.
//
// Points, y up. A ratio is width divided by height; without one the shape is free. All results lie within the
// bounds, provided that these have room for the smallest selection.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Support/Geometry.h"

#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace lumicrate {

/// The aspect ratios that a selection can be constrained to.
enum class AspectPreset { custom, wide, tall, standard, square };

/// The raw values are the labels too.
template <>
struct RawValues<AspectPreset> {
    static constexpr std::array<std::string_view, 5> names = {"Custom", "16:9", "9:16", "4:3", "1:1"};
};

/// None for a free shape.
constexpr std::optional<double> ratioOf(AspectPreset preset) {
    switch (preset) {
        case AspectPreset::wide:
            return 16.0 / 9;
        case AspectPreset::tall:
            return 9.0 / 16;
        case AspectPreset::standard:
            return 4.0 / 3;
        case AspectPreset::square:
            return 1.0;
        case AspectPreset::custom:
            break;
    }
    return std::nullopt;
}

/// The corners and edges by which a rectangle can be resized, clockwise.
enum class Handle { topLeft, top, topRight, right, bottomRight, bottom, bottomLeft, left };

inline constexpr std::array allHandles = {Handle::topLeft,    Handle::top,         Handle::topRight,
                                          Handle::right,      Handle::bottomRight, Handle::bottom,
                                          Handle::bottomLeft, Handle::left};

Point pointOf(Handle handle, const Rect& rect);
/// The handle on the other side: topLeft for bottomRight.
Handle opposite(Handle handle);
/// All handles for a free shape, only the corners with a ratio.
std::vector<Handle> handlesFor(std::optional<double> ratio);

/// The edges that a handle moves. The handle `top` moves neither the left nor the right edge.
struct OwnedEdges {
    bool left = false;
    bool right = false;
    bool bottom = false;
    bool top = false;
};
OwnedEdges edgesOf(Handle handle);

struct SelectionGeometry {
    /// The minimum length of each side.
    static constexpr double minSide = 32;

    Rect bounds;
    std::optional<double> ratio;
    double smallest = minSide;  ///< the minimum length in use; another one only for a free shape

    /// The nearest point of the bounds, including their right and top edges.
    Point clamped(Point point) const;
    /// Expanded to whole points.
    Rect rounded(const Rect& rect) const;

    /// Spans from one point towards another. With a ratio the larger extent decides, as far as there is room.
    Rect rect(Point from, Point to) const;
    /// Moves a handle to a point, as far as the minimum size allows.
    Rect resize(const Rect& original, Handle handle, Point to) const;
    Rect move(const Rect& original, double dx, double dy) const;
    /// The largest rectangle of the ratio, centred in `base`; `base` itself for a free shape.
    Rect largestWithin(const Rect& base) const;
    /// Applies the ratio, keeping the width and the centre as far as there is room.
    Rect reshape(const Rect& current) const;
    /// Changes the size, keeping the top left corner. A side that is not given follows from the ratio, or is
    /// kept.
    Rect resized(const Rect& current, std::optional<double> width, std::optional<double> height) const;
};

/// The frame of a toolbar of that size: below the selection, else above it, else inside it at its bottom.
/// Keeps a distance, so that the toolbar covers no handle.
Rect toolbarFrame(const Rect& selection, const Size& toolbar, const Rect& bounds);

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
