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

/// Plays changes of the content through a pacer whose timer is late by up to `lateness`; gives the times of
/// the frames. Changes that come before a frame are in it.
std::vector<Time> play(const std::vector<Time>& changes, Time interval, Time lateness) {
    FramePacer pacer(interval);
    std::mt19937 random(1);
    std::uniform_int_distribution<Time::rep> late(0, lateness.count());
    std::vector<Time> frames;
    for (std::size_t i = 0; i < changes.size();) {
        const Time due = pacer.due();
        const Time now = changes[i] >= due ? changes[i] : due + Time(late(random));
        while (i < changes.size() && changes[i] <= now)
            ++i;
        pacer.delivered(now);
        frames.push_back(now);
    }
    return frames;
}

std::vector<Time> content(double perSecond, Time jitter, int count) {
    std::mt19937 random(2);
    std::uniform_int_distribution<Time::rep> wander(-jitter.count(), jitter.count());
    std::vector<Time> changes;
    for (int i = 0; i < count; ++i)
        changes.push_back(1s + Time(std::llround(i * 1e9 / perSecond)) + Time(wander(random)));
    std::sort(changes.begin(), changes.end());
    return changes;
}

Time smallestGap(const std::vector<Time>& times) {
    Time smallest = Time::max();
    for (std::size_t i = 1; i < times.size(); ++i)
        smallest = std::min(smallest, times[i] - times[i - 1]);
    return smallest;
}

TEST(FramePacerTests, TheFirstFrameIsDueAtOnce) {
    EXPECT_LT(FramePacer(thirtieth).due(), 0ns);
}

TEST(FramePacerTests, ContentOfTheSameRateLosesNoFrameThroughJitterAndLateTimers) {
    struct Case {
        Time jitter;
        Time lateness;
    };
    for (const Case& each : {Case{0ms, 0ms}, Case{0ms, 2ms}, Case{1ms, 0ms}, Case{5ms, 1ms}}) {
        const auto frames = play(content(30, each.jitter, 3000), thirtieth, each.lateness);
        EXPECT_EQ(frames.size(), 3000U) << each.jitter.count() << " " << each.lateness.count();
        EXPECT_GE(smallestGap(frames), thirtieth * 9 / 10);
    }
}

TEST(FramePacerTests, FasterContentIsHeldToTheRate) {
    const auto frames = play(content(144, 2ms, 14400), thirtieth, 1ms);
    EXPECT_GE(smallestGap(frames), thirtieth * 9 / 10);
    EXPECT_LE(frames.size(), 3001U);
    EXPECT_GE(frames.size(), 2990U);
}

TEST(FramePacerTests, AFrameAfterAPauseEarnsNoExtraFrames) {
    FramePacer pacer(100ms);
    pacer.delivered(0ms);
    pacer.delivered(5s);
    EXPECT_EQ(pacer.due(), 5s + 90ms);
    pacer.delivered(5s + 90ms);
    EXPECT_EQ(pacer.due(), 5s + 190ms);
}

TEST(FramePacerTests, FruitlessLooksKeepAShorterDistance) {
    FramePacer pacer(100ms);
    pacer.delivered(0ms);
    pacer.checked(3s);
    EXPECT_EQ(pacer.due(), 3s + 25ms);
}

TEST(FramePacerTests, AnotherIntervalHoldsFromTheLastFrameOn) {
    FramePacer pacer(1s);
    pacer.delivered(10s);
    pacer.setInterval(20ms);
    EXPECT_EQ(pacer.due(), 10s + 18ms);
    pacer.setInterval(0ms);
    EXPECT_GT(pacer.due(), 10s);
}

}  // namespace
}  // namespace lumicrate::x11
