// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/EdgeSnapping.h"

#include <cmath>
#include <optional>
#include <utility>

namespace lumicrate {

namespace {

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
