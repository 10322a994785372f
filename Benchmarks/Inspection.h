// SPDX-License-Identifier: GPL-3.0-or-later
// Inspection: which of a scene's numbered steps a movie shows, and how well.
#pragma once

#include "Benchmarks/Screen.h"
#include "Tests/Stage/MovieProbe.h"

#include <map>
#include <vector>

namespace lumicrate::bench {

struct Arrivals {
    std::size_t pictures = 0;
    int unreadable = 0;           // pictures without a valid number: torn ones
    std::map<int, double> shown;  // by step number: the time of the first picture that shows it
};

// `scale` is the scale of the movie.
Arrivals inspect(stage::MovieProbe& probe, double scale);
// At most `count` of the step numbers shown, evenly spread, without the ends.
std::vector<int> spread(const Arrivals& arrivals, int count);

// Structural similarity of the luma, with the file's matrix or, where it has none, the better one. A movie
// that is one column or row larger than the screen is cropped.
double similarity(const stage::MovieProbe& probe, const stage::Picture& picture, const Screen& screen);

}  // namespace lumicrate::bench
