#include "Linux/Desktop/ProcessInfo.h"
#include "Support/MediaTime.h"

#include <gtest/gtest.h>

#include <fstream>

namespace lumicrate::desktop {
namespace {

using Seconds = std::chrono::duration<double>;

TEST(ProcessInfoTests, TimeAwakeAndAsleepIsTheTimeSinceTheComputerWasStarted) {
    const ProcessInfo process;
    double uptime = 0;
    const Seconds before = HostClock::now() + process.timeAsleep();
    ASSERT_TRUE(std::ifstream("/proc/uptime") >> uptime);
    const Seconds after = HostClock::now() + process.timeAsleep();
    // The kernel tells hundredths.
    EXPECT_GT(uptime, before.count() - 0.02);
    EXPECT_LT(uptime, after.count() + 0.02);
}

}  // namespace
}  // namespace lumicrate::desktop
