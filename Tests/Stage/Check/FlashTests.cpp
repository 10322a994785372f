#include "Tests/Stage/Check/MonitorListener.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace lumicrate::stage {

namespace {

// Tests of recorders take a flash and its tone as simultaneous, so the stage has to keep that promise.
TEST(FlashScene, soundsAtTheInstantsThatItPrints) {
    PrivateDesktop desktop;
    const MonitorListener listener;
    ChildProcess::Options options;
    options.output = ChildProcess::Output::Capture;
    ChildProcess scene({LUMICRATE_SCENE, "flash", "--seconds", "4.5"}, options);
    ASSERT_EQ(scene.mustEnd(40).exitStatus, 0) << scene.standardError();

    const auto heard = listener.soundBeginnings();
    std::vector<double> distances;
    while (const auto line = scene.readLine(1)) {
        double planned = 0;
        if (std::sscanf(line->c_str(), "flash %lf", &planned) != 1) continue;
        double nearest = 1;
        for (const double beginning : heard) {
            nearest = std::min(nearest, std::abs(beginning - planned));
        }
        distances.push_back(nearest);
    }
    ASSERT_EQ(distances.size(), 4U);
    // A sound cycle that a busy machine misses shifts a tone by eleven milliseconds; most must be exact.
    std::sort(distances.begin(), distances.end());
    EXPECT_LT(distances[1], 0.003);
    EXPECT_LT(distances[3], 0.1);
}

}  // namespace

}  // namespace lumicrate::stage
