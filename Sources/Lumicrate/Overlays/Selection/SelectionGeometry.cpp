// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

constexpr double toolbarGap = 12;

/// `low` wins if the range is empty.
double clampedTo(double value, double low, double high) {
    return std::max(low, std::min(value, high));
}

/// Spans from a fixed corner; a negative direction means to the left or down.
Rect spanned(Point corner, const Size& size, double directionX, double directionY) {
    return {directionX < 0 ? corner.x - size.width : corner.x,
            directionY < 0 ? corner.y - size.height : corner.y, size.width, size.height};
}

Size smallestSize(double ratio) {
    constexpr double side = SelectionGeometry::minSide;
    return {ratio >= 1 ? side * ratio : side, side * std::max(1 / ratio, 1.0)};
}

/// The extent of a rectangle in one direction.
struct Span {
    double low = 0;
    double high = 0;

    bool isWithinReachOf(const Span& other) const {
        return low <= other.high + EdgeSnapping::reach && other.low <= high + EdgeSnapping::reach;
    }
};

Span horizontal(const Rect& rect) {
    return {rect.minX(), rect.maxX()};
}

Span vertical(const Rect& rect) {
    return {rect.minY(), rect.maxY()};
}

/// The positions that edges can snap to. `extent` gives the direction in which the edges move, `crossExtent`
/// the direction in which they run; `edges` is their extent in the latter.
template <class Extent, class CrossExtent>
std::vector<double> snapLines(const Span& edges, const Rect& bounds, const std::vector<Rect>& windows,
                              Extent extent, CrossExtent crossExtent) {
    const Span screen = extent(bounds);
    std::vector<double> lines{screen.low, (screen.low + screen.high) / 2, screen.high};
    for (const Rect& each : windows) {
        if (!crossExtent(each).isWithinReachOf(edges)) continue;
        lines.push_back(extent(each).low);
        lines.push_back(extent(each).high);
    }
    return lines;
}

/// The shortest distance from an edge to a line, if one is within reach.
std::optional<double> shortestMove(const std::vector<double>& edges, const std::vector<double>& lines) {
    std::optional<double> shortest;
    for (const double edge : edges) {
        for (const double line : lines) {
            const double move = line - edge;
            if (std::abs(move) > EdgeSnapping::reach) continue;
            if (!shortest || std::abs(move) < std::abs(*shortest)) shortest = move;
        }
    }
    return shortest;
}

}  // namespace

Point pointOf(Handle handle, const Rect& rect) {
    const OwnedEdges edges = edgesOf(handle);
    return {edges.left    ? rect.minX()
            : edges.right ? rect.maxX()
                          : rect.midX(),
            edges.bottom ? rect.minY()
            : edges.top  ? rect.maxY()
                         : rect.midY()};
}

Handle opposite(Handle handle) {
    return static_cast<Handle>((static_cast<std::size_t>(handle) + allHandles.size() / 2) %
                               allHandles.size());
}

std::vector<Handle> handlesFor(std::optional<double> ratio) {
    if (!ratio) return {allHandles.begin(), allHandles.end()};
    return {Handle::topLeft, Handle::topRight, Handle::bottomRight, Handle::bottomLeft};
}

OwnedEdges edgesOf(Handle handle) {
    OwnedEdges edges;
    edges.left = handle == Handle::topLeft || handle == Handle::left || handle == Handle::bottomLeft;
    edges.right = handle == Handle::topRight || handle == Handle::right || handle == Handle::bottomRight;
    edges.bottom = handle == Handle::bottomLeft || handle == Handle::bottom || handle == Handle::bottomRight;
    edges.top = handle == Handle::topLeft || handle == Handle::top || handle == Handle::topRight;
    return edges;
}

Point SelectionGeometry::clamped(Point point) const {
    return {clampedTo(point.x, bounds.minX(), bounds.maxX()),
            clampedTo(point.y, bounds.minY(), bounds.maxY())};
}

Rect SelectionGeometry::rounded(const Rect& rect) const {
    return rect.integral().intersection(bounds);
}

Rect SelectionGeometry::rect(Point from, Point to) const {
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    if (!ratio) return {std::min(from.x, to.x), std::min(from.y, to.y), std::abs(dx), std::abs(dy)};
    const double roomX = dx < 0 ? from.x - bounds.minX() : bounds.maxX() - from.x;
    const double roomY = dy < 0 ? from.y - bounds.minY() : bounds.maxY() - from.y;
    const double width = std::min({std::max(std::abs(dx), std::abs(dy) * *ratio), roomX, roomY * *ratio});
    return spanned(from, {width, width / *ratio}, dx, dy);
}

Rect SelectionGeometry::resize(const Rect& original, Handle handle, Point to) const {
    const Point point = clamped(to);
    if (ratio) {
        const Point anchor = pointOf(opposite(handle), original);
        const Rect drawn = rect(anchor, point);
        if (drawn.width >= minSide && drawn.height >= minSide) return drawn;
        return spanned(anchor, smallestSize(*ratio), point.x - anchor.x, point.y - anchor.y)
            .shiftedInside(bounds);
    }
    const OwnedEdges edges = edgesOf(handle);
    double left = original.minX();
    double right = original.maxX();
    double bottom = original.minY();
    double top = original.maxY();
    if (edges.left) left = std::min(point.x, right - smallest);
    if (edges.right) right = std::max(point.x, left + smallest);
    if (edges.bottom) bottom = std::min(point.y, top - smallest);
    if (edges.top) top = std::max(point.y, bottom + smallest);
    return Rect{left, bottom, right - left, top - bottom}.shiftedInside(bounds);
}

Rect SelectionGeometry::move(const Rect& original, double dx, double dy) const {
    return original.offsetBy(dx, dy).shiftedInside(bounds);
}

Rect SelectionGeometry::largestWithin(const Rect& base) const {
    if (!ratio) return base;
    const double width = std::min(base.width, base.height * *ratio);
    const double height = width / *ratio;
    return {base.midX() - width / 2, base.midY() - height / 2, width, height};
}

Rect SelectionGeometry::reshape(const Rect& current) const {
    if (!ratio) return current;
    Size size{current.width, current.width / *ratio};
    if (size.height > bounds.height) size = {*ratio * bounds.height, bounds.height};
    return Rect{current.midX() - size.width / 2, current.midY() - size.height / 2, size.width, size.height}
        .shiftedInside(bounds);
}

Rect SelectionGeometry::resized(const Rect& current, std::optional<double> width,
                                std::optional<double> height) const {
    Size size{width.value_or(current.width), height.value_or(current.height)};
    if (ratio && height && !width) {
        size.width = size.height * *ratio;
    } else if (ratio) {
        size.height = size.width / *ratio;
    }
    size.width = clampedTo(size.width, minSide, bounds.width);
    size.height = clampedTo(size.height, minSide, bounds.height);
    return Rect{current.minX(), current.maxY() - size.height, size.width, size.height}.shiftedInside(bounds);
}

Rect toolbarFrame(const Rect& selection, const Size& toolbar, const Rect& bounds) {
    double y = selection.minY() - toolbar.height - toolbarGap;
    if (y < toolbarGap) y = selection.maxY() + toolbarGap;
    if (y + toolbar.height > bounds.maxY() - toolbarGap) y = selection.minY() + toolbarGap;
    const double x = clampedTo(selection.midX() - toolbar.width / 2, toolbarGap,
                               bounds.maxX() - toolbar.width - toolbarGap);
    return {x, y, toolbar.width, toolbar.height};
}

EdgeSnapping::EdgeSnapping(const Rect& bounds, std::vector<Rect> windows)
    : bounds_(bounds), windows_(std::move(windows)) {}

Rect EdgeSnapping::moved(const Rect& free) const {
    const Span x = horizontal(free);
    const Span y = vertical(free);
    const auto dx = shortestMove({x.low, x.high}, snapLines(y, bounds_, windows_, horizontal, vertical));
    const auto dy = shortestMove({y.low, y.high}, snapLines(x, bounds_, windows_, vertical, horizontal));
    return free.offsetBy(dx.value_or(0), dy.value_or(0));
}

Point EdgeSnapping::point(Point free) const {
    const Rect snapped = moved({free.x, free.y, 0, 0});
    return {snapped.x, snapped.y};
}

}  // namespace lumicrate
