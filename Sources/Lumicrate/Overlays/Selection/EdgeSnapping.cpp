#include "Lumicrate/Overlays/Selection/EdgeSnapping.h"

#include <cmath>
#include <optional>
#include <utility>

namespace lumicrate {

namespace {

/// One direction of a rectangle.
struct Span {
    double low = 0;
    double high = 0;

    bool isWithinReachOf(const Span& other) const {
        return low <= other.high + EdgeSnapping::reach && other.low <= high + EdgeSnapping::reach;
    }
};

Span across(const Rect& rect) {
    return {rect.minX(), rect.maxX()};
}

Span along(const Rect& rect) {
    return {rect.minY(), rect.maxY()};
}

/// The lines that edges beside `beside` can lie on; `measured` gives the direction that they are moved in,
/// `other` the one that the lines run in.
template <class Measured, class Other>
std::vector<double> linesBeside(const Span& beside, const Rect& bounds, const std::vector<Rect>& windows,
                                Measured measured, Other other) {
    const Span screen = measured(bounds);
    std::vector<double> lines{screen.low, (screen.low + screen.high) / 2, screen.high};
    for (const Rect& each : windows) {
        if (!other(each).isWithinReachOf(beside)) continue;
        lines.push_back(measured(each).low);
        lines.push_back(measured(each).high);
    }
    return lines;
}

/// How far the nearest of the edges is from a line, if one is in reach.
std::optional<double> shortestWay(const std::vector<double>& edges, const std::vector<double>& lines) {
    std::optional<double> way;
    for (const double edge : edges) {
        for (const double line : lines) {
            const double here = line - edge;
            if (std::abs(here) <= EdgeSnapping::reach && (!way || std::abs(here) < std::abs(*way)))
                way = here;
        }
    }
    return way;
}

}  // namespace

EdgeSnapping::EdgeSnapping(const Rect& bounds, std::vector<Rect> windows)
    : bounds_(bounds), windows_(std::move(windows)) {}

Rect EdgeSnapping::moved(const Rect& free) const {
    const Span x = across(free);
    const Span y = along(free);
    const auto dx = shortestWay({x.low, x.high}, linesBeside(y, bounds_, windows_, across, along));
    const auto dy = shortestWay({y.low, y.high}, linesBeside(x, bounds_, windows_, along, across));
    return free.offsetBy(dx.value_or(0), dy.value_or(0));
}

Point EdgeSnapping::point(Point free) const {
    const Rect snapped = moved({free.x, free.y, 0, 0});
    return {snapped.x, snapped.y};
}

}  // namespace lumicrate
