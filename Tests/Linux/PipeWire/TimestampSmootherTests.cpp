#include "Linux/PipeWire/TimestampSmoother.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace lumicrate::pipewire {
namespace {

using std::chrono::nanoseconds;
using namespace std::chrono_literals;

constexpr int rate = 48000;
constexpr std::int64_t frames = 1024;
constexpr nanoseconds start = 5'000s;

nanoseconds length(double drift = 0) {
    return nanoseconds(std::llround(frames * 1e9 / rate * (1 + drift)));
}

/// After a hundred buffers that were reported exactly; `time` is when the next one is due.
struct Settled {
    Settled() {
        for (int i = 0; i < 100; ++i, time += length())
            EXPECT_TRUE(smoother.stamp(time, frames));
    }
    TimestampSmoother smoother{rate};
    nanoseconds time = start;
};

TEST(TimestampSmootherTests, ForAnHourTimestampsStayExactAndContiguous) {
    const struct {
        double drift;      // of the device's clock
        double jitter;     // seconds, in both directions
        double lateShare;  // of reports that are a whole buffer late
        double allowed;    // deviation in seconds once the loop has settled
    } cases[] = {
        {0, 0, 0, 2e-6},
        {-500e-6, 0, 0, 20e-6},
        {500e-6, 0, 0, 20e-6},
        {0, 0.002, 0, 1e-3},
        {500e-6, 0.002, 0, 1e-3},
        {-500e-6, 0.002, 0, 1e-3},
        {100e-6, 0.0002, 0.005, 2e-3},
    };
    for (const auto& given : cases) {
        SCOPED_TRACE(testing::Message() << given.drift << " " << given.jitter << " " << given.lateShare);
        std::mt19937 random(7);
        std::uniform_real_distribution<double> jitter(-given.jitter, given.jitter);
        std::bernoulli_distribution late(given.lateShare);
        TimestampSmoother smoother(rate);
        const nanoseconds step = length(given.drift);
        const double nominal = length().count() / 1e9;
        double worst = 0;
        double worstSeam = 0;
        nanoseconds previous{};
        for (int i = 0; i < 3600 * rate / frames; ++i) {
            const nanoseconds truth = start + i * step;
            // The first report is the origin; a late one there is another case.
            const nanoseconds delay = i > 0 && late(random) ? step : 0ns;
            const auto noise = nanoseconds(std::llround(jitter(random) * 1e9));
            const auto stamp = smoother.stamp(truth + noise + delay, frames);
            ASSERT_TRUE(stamp.has_value()) << "buffer " << i;
            const double deviation = std::abs(static_cast<double>((*stamp - truth).count())) / 1e9;
            if (i > 0) {
                ASSERT_GT(*stamp, previous);
                worstSeam = std::max(worstSeam, std::abs((*stamp - previous).count() / 1e9 - nominal));
            }
            // Without jitter, never a millisecond off; with it, only once the loop has settled.
            if (given.jitter == 0) {
                ASSERT_LT(deviation, 1e-3) << "buffer " << i;
            }
            if (i > 20 * rate / frames) worst = std::max(worst, deviation);
            previous = *stamp;
        }
        EXPECT_LT(worst, given.allowed);
        EXPECT_LE(worstSeam, 0.005 * nominal + 2e-9);
    }
}

TEST(TimestampSmootherTests, AWrongFirstReportIsCorrectedWithinSeconds) {
    TimestampSmoother smoother(rate);
    nanoseconds off{};
    for (int i = 0; i < 10 * rate / frames; ++i) {
        const nanoseconds truth = start + i * length();
        off = smoother.stamp(truth + (i == 0 ? 20ms : 0ms), frames).value() - truth;
    }
    EXPECT_LT(std::abs(off.count()), 1'000'000);
}

TEST(TimestampSmootherTests, GapsAreKeptWhenTheyAreLongOrAnnounced) {
    for (const auto& [gap, announced] : {std::pair{300ms, false}, std::pair{21ms, true}}) {
        Settled after;
        after.time += gap;
        if (announced) after.smoother.noteJump();
        EXPECT_EQ(after.smoother.stamp(after.time, frames).value(), after.time);
        after.time += length();
        EXPECT_EQ(after.smoother.stamp(after.time, frames).value(), after.time);
    }
}

TEST(TimestampSmootherTests, AJumpBackDropsWhatWasStampedBefore) {
    Settled after;
    auto& [smoother, time] = after;
    const nanoseconds stampedUntil = time;
    time -= 200ms;
    int dropped = 0;
    std::optional<nanoseconds> next;
    for (; !(next = smoother.stamp(time, frames)); time += length())
        ++dropped;
    EXPECT_EQ(dropped, 10);  // 200 ms in buffers of 21.3 ms, rounded up
    EXPECT_GE(next->count(), stampedUntil.count() - 100'000);
    EXPECT_NEAR(static_cast<double>((*next - time).count()), 0, 10);
}

TEST(TimestampSmootherTests, BuffersMayHaveAnyLength) {
    TimestampSmoother smoother(rate);
    nanoseconds time = start;
    for (const std::int64_t each : {1024L, 1L, 333L, 4096L, 48000L, 240L}) {
        const auto stamp = smoother.stamp(time, each);
        ASSERT_TRUE(stamp.has_value());
        EXPECT_NEAR(static_cast<double>((*stamp - time).count()), 0, 2) << each;
        time += nanoseconds(each * 1'000'000'000 / rate);
    }
    EXPECT_FALSE(smoother.stamp(time, 0).has_value());
}

}  // namespace
}  // namespace lumicrate::pipewire
