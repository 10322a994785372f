// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/LoadControl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace lumicrate {
namespace {

struct Course {
    int lost = 0;
    int changes = 0;  ///< of the level
    int lastLevel = 0;
};

/// An encoder with a queue of six pictures at 30 a second. A picture takes `load(seconds)` of the time
/// between two pictures, and a sixth less with each level. Without control the level stays 0.
Course simulate(const std::function<double(double)>& load, bool controlled = true, int pictures = 60 * 30) {
    LoadControl control;
    Course course;
    double queue = 0;
    for (int i = 0; i < pictures; ++i) {
        const int level = controlled ? control.update(std::ceil(queue) / 6, CMTime(i, 30)) : 0;
        course.changes += level != course.lastLevel ? 1 : 0;
        course.lastLevel = level;
        if (queue > 5) {
            ++course.lost;
        } else {
            queue += load(i / 30.0) * std::pow(5.0 / 6, level);
        }
        queue = std::max(queue - 1, 0.0);
    }
    return course;
}

TEST(LoadControlTests, SavesAsMuchAsIsNeeded) {
    const struct {
        double load;
        int maxLost;
        int minChanges, maxChanges;
    } cases[] = {
        {0.9, 0, 0, 0},    // the encoder keeps up
        {1.15, 0, 1, 12},  // one level is enough
        {1.4, 0, 2, 14},   // two are
        {1.7, 2, 3, 16},   // all are
        {2.5, 800, 3, 3},  // none is, which costs what cannot be saved
    };
    for (const auto& [load, maxLost, minChanges, maxChanges] : cases) {
        const auto constant = [load = load](double) { return load; };
        const Course course = simulate(constant);
        EXPECT_LE(course.lost, maxLost) << load;
        EXPECT_GE(course.changes, minChanges) << load;
        EXPECT_LE(course.changes, maxChanges) << load << ": the quality swings";
        if (load > 1) {
            EXPECT_LT(course.lost, simulate(constant, false).lost) << load;
        }
    }
}

TEST(LoadControlTests, AShortLoadIsForgotten) {
    const auto peak = [](double seconds) { return seconds < 10 ? 1.6 : 0.5; };
    EXPECT_EQ(simulate(peak).lastLevel, 0);
    EXPECT_LE(simulate(peak).lost, 1);
    // A key picture that takes as long as four others is no load.
    const auto keys = [](double seconds) { return std::fmod(seconds + 1e-9, 2.0) < 1.0 / 30 ? 3.0 : 0.7; };
    EXPECT_EQ(simulate(keys).changes, 0);
}

}  // namespace
}  // namespace lumicrate
