#include "Tests/Stage/Check/MonitorListener.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

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
    int flashes = 0;
    while (const auto line = scene.readLine(1)) {
        double planned = 0;
        if (std::sscanf(line->c_str(), "flash %lf", &planned) != 1) continue;
        ++flashes;
        const auto nearest =
            std::min_element(heard.begin(), heard.end(), [planned](double one, double other) {
                return std::abs(one - planned) < std::abs(other - planned);
            });
        ASSERT_NE(nearest, heard.end());
        EXPECT_NEAR(*nearest, planned, 0.008);
    }
    EXPECT_EQ(flashes, 4);
}

}  // namespace

}  // namespace lumicrate::stage
