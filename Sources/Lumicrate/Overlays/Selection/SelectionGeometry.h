// SelectionGeometry: what becomes of a selected rectangle that is drawn, moved, resized or given a shape.
//
// Points, y upwards. A ratio is width by height; without one the shape is free. Everything that is given
// back lies in the bounds, provided these have room for the smallest selection.
#pragma once

#include "Support/Geometry.h"

#include <array>
#include <optional>
#include <vector>

namespace lumicrate {

/// Where a rectangle can be taken hold of.
enum class Handle { topLeft, top, topRight, right, bottomRight, bottom, bottomLeft, left };

inline constexpr std::array allHandles = {Handle::topLeft,    Handle::top,         Handle::topRight,
                                          Handle::right,      Handle::bottomRight, Handle::bottom,
                                          Handle::bottomLeft, Handle::left};

Point pointOf(Handle handle, const Rect& rect);
/// The one across.
Handle opposite(Handle handle);
/// All of them, or the corners alone where the shape is given.
std::vector<Handle> handlesFor(std::optional<double> ratio);

/// Which edges go with a handle; none of the two in a direction for a handle in its middle.
struct OwnedEdges {
    bool left = false;
    bool right = false;
    bool bottom = false;
    bool top = false;
};
OwnedEdges edgesOf(Handle handle);

struct SelectionGeometry {
    /// The shortest side that a selection can have.
    static constexpr double minimumSide = 32;

    Rect bounds;
    std::optional<double> ratio;

    /// The nearest point of the bounds, their far edges included.
    Point clamped(Point point) const;
    /// The rectangle at its nearest place inside.
    Rect shiftedInside(const Rect& rect) const;
    /// Grown to whole points.
    Rect rounded(const Rect& rect) const;

    /// From one point towards another. With a ratio the longer way decides, as far as there is room.
    Rect rect(Point from, Point to) const;
    /// By the handle, which comes to lie at the point as far as the smallest side allows.
    Rect resize(const Rect& original, Handle handle, Point to) const;
    Rect move(const Rect& original, double dx, double dy) const;
    /// The largest of the ratio in the middle of another; that one itself where the shape is free.
    Rect largestWithin(const Rect& base) const;
    /// The ratio with the width and the middle kept, as far as there is room.
    Rect reshape(const Rect& current) const;
    /// Another size from the same top left corner. A side that is not given follows from the ratio, or stays.
    Rect resized(const Rect& current, std::optional<double> width, std::optional<double> height) const;
};

/// Where a toolbar of that size goes: below the selection, else above it, else inside at its bottom; never so
/// near that it would cover a handle.
Rect toolbarFrame(const Rect& selection, const Size& toolbar, const Rect& bounds);

}  // namespace lumicrate
