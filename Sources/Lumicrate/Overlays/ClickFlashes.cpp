#include "Lumicrate/Overlays/ClickFlashes.h"

#include <cmath>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

constexpr double diameter = 46;
constexpr double lineWidth = 3;
constexpr double firstScale = 0.4;
constexpr double lastScale = 1.25;
constexpr auto duration = 550ms;

/// The third of a curve's four points counts with 3(1 − t)t², the last with t³; the first two are zero.
double onCurve(double third, double t) {
    return 3 * (1 - t) * t * t * third + t * t * t;
}

/// How far a movement has come that begins fast and comes slowly to rest: the Bézier curve from (0, 0)
/// by (0, 0) and (0.58, 1) to (1, 1). Both 0 … 1.
double easedOut(double progress) {
    double low = 0;
    double high = 1;
    for (int halving = 0; halving < 30; ++halving) {
        const double middle = (low + high) / 2;
        (onCurve(0.58, middle) < progress ? low : high) = middle;
    }
    return onCurve(1, high);
}

}  // namespace

std::vector<ClickRing> ClickFlashes::ringsAt(Time now) {
    std::erase_if(flashes_, [now](const Flash& each) { return now - each.begun >= duration; });
    std::vector<ClickRing> rings;
    rings.reserve(flashes_.size());
    for (const auto& [center, secondary, begun] : flashes_) {
        const double passed = easedOut(std::chrono::duration<double>(now - begun) / duration);
        const double scale = std::lerp(firstScale, lastScale, passed);
        rings.push_back({center, diameter * scale, lineWidth * scale, 1 - passed, secondary});
    }
    return rings;
}

Rect ClickFlashes::extentAround(Point center) {
    const double radius = std::ceil((diameter + lineWidth) * lastScale / 2);
    return Rect{center.x - radius, center.y - radius, 2 * radius, 2 * radius}.integral();
}

}  // namespace lumicrate
