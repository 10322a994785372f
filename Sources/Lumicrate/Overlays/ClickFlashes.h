// ClickFlashes: the rings that spread from recent clicks, and how each looks at an instant.
#pragma once

#include "Support/Geometry.h"

#include <chrono>
#include <vector>

namespace lumicrate {

/// A ring as it is drawn; points.
struct ClickRing {
    Point center;
    double diameter = 0;  ///< of the middle of its line
    double lineWidth = 0;
    double opacity = 0;  ///< 0 … 1, of line and filling
    bool secondary = false;
    bool operator==(const ClickRing&) const = default;
};

class ClickFlashes {
 public:
    using Time = std::chrono::nanoseconds;

    void add(Point center, bool secondary, Time now) { flashes_.push_back({center, secondary, now}); }
    /// The oldest first; forgets those that have faded.
    std::vector<ClickRing> ringsAt(Time now);
    /// All that a ring around that point can cover while it spreads.
    static Rect extentAround(Point center);

 private:
    struct Flash {
        Point center;
        bool secondary;
        Time begun;
    };
    std::vector<Flash> flashes_;
};

}  // namespace lumicrate
