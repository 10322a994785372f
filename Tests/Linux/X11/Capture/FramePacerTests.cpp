#include "Linux/X11/Capture/FramePacer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using Time = FramePacer::Time;

constexpr Time thirtieth = 33'333'333ns;

struct Frames {
    std::size_t count = 0;
    Time smallestGap = Time::max();
};

/// Lets content change that often, with jitter, and delivers frames whenever a pacer with a timer that is
/// late by up to `lateness` allows.
Frames play(double changesPerSecond, int count, Time jitter, Time lateness) {
    std::mt19937 random(1);
    const auto upTo = [&](Time limit) {
        return Time(std::uniform_int_distribution<Time::rep>(0, limit.count())(random));
    };
    std::vector<Time> changes;
    for (int i = 0; i < count; ++i)
        changes.push_back(1s + Time(std::llround(i * 1e9 / changesPerSecond)) + upTo(2 * jitter) - jitter);
    std::sort(changes.begin(), changes.end());

    FramePacer pacer(thirtieth);
    Frames frames;
    std::optional<Time> last;
    for (std::size_t i = 0; i < changes.size(); ++frames.count) {
        const Time due = pacer.due();
        const Time now = changes[i] >= due ? changes[i] : due + upTo(lateness);
        // Changes that come before a frame are in it.
        while (i < changes.size() && changes[i] <= now)
            ++i;
        pacer.delivered(now);
        if (last) frames.smallestGap = std::min(frames.smallestGap, now - *last);
        last = now;
    }
    return frames;
}

TEST(FramePacerTests, JitterAndLateTimersLoseNoFrameOfContentWithTheSameRate) {
    for (const auto& [jitter, lateness] :
         {std::pair<Time, Time>{0ms, 0ms}, {0ms, 2ms}, {1ms, 0ms}, {5ms, 1ms}}) {
        const Frames frames = play(30, 3000, jitter, lateness);
        EXPECT_EQ(frames.count, 3000U) << jitter.count() << " " << lateness.count();
        EXPECT_GE(frames.smallestGap, thirtieth * 9 / 10);
    }
}

TEST(FramePacerTests, FasterContentIsLimitedToTheRate) {
    const Frames frames = play(144, 14400, 2ms, 1ms);
    EXPECT_GE(frames.smallestGap, thirtieth * 9 / 10);
    EXPECT_LE(frames.count, 3001U);
    EXPECT_GE(frames.count, 2990U);
}

TEST(FramePacerTests, DueTimesFollowFramesChecksAndIntervals) {
    FramePacer pacer(100ms);
    EXPECT_LT(pacer.due(), 0ns) << "the first frame is due at once";
    for (const auto& [delivered, due] : {std::pair<Time, Time>{1000ms, 1090ms},
                                         {1090ms, 1190ms},
                                         {1195ms, 1290ms},
                                         {1340ms, 1430ms},
                                         {5000ms, 5090ms}}) {
        pacer.delivered(delivered);
        EXPECT_EQ(pacer.due(), due);
    }
    pacer.checked(8s);
    EXPECT_EQ(pacer.due(), 8s + 25ms);
    pacer.delivered(10s);
    pacer.setInterval(20ms);
    EXPECT_EQ(pacer.due(), 10s + 18ms);
    pacer.setInterval(0ms);
    EXPECT_GT(pacer.due(), 10s);
}

}  // namespace
}  // namespace lumicrate::x11
