// Inspection: what of a scene's numbered steps has arrived in a movie, and how well.
#pragma once

#include "Benchmarks/Screen.h"
#include "Tests/Stage/MovieProbe.h"

#include <map>
#include <vector>

namespace lumicrate::bench {

struct Arrivals {
    std::size_t pictures = 0;
    int unreadable = 0;           // pictures whose bar belongs to no step: torn ones
    std::map<int, double> shown;  // step number to the time of the first picture that shows it
};

// `scale` is that of the movie, which the number was scaled with.
Arrivals inspect(stage::MovieProbe& probe, double scale);
// At most so many of the step numbers that arrived, spread evenly, the ends left out.
std::vector<int> spread(const Arrivals& arrivals, int count);

// Structural similarity of the luma. The file's own matrix is taken or, where it names none, the one that
// fits better. A movie one column or row larger than the screen is cut.
double similarity(const stage::MovieProbe& probe, const stage::Picture& picture, const Screen& screen);

}  // namespace lumicrate::bench
