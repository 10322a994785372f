#include "Linux/PipeWire/TimestampSmoother.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <ostream>
#include <random>
#include <vector>

using lumicrate::pipewire::TimestampSmoother;
using std::chrono::nanoseconds;
using namespace std::chrono_literals;

namespace {

constexpr int rate = 48000;
constexpr std::int64_t frames = 1024;
constexpr nanoseconds start = 5'000s;

nanoseconds length(double drift) {
    return nanoseconds(std::llround(frames * 1e9 / rate * (1 + drift)));
}

struct Disturbance {
    const char* name;
    double drift;      ///< of the device's clock
    double jitter;     ///< seconds, either way
    double lateShare;  ///< of reports that are a whole stretch late
    double allowed;    ///< seconds that a stamp may be off once the loop has settled
};

void PrintTo(const Disturbance& each, std::ostream* out) {
    *out << each.name;
}

class SmootherForAnHour : public testing::TestWithParam<Disturbance> {};

}  // namespace

TEST_P(SmootherForAnHour, staysCloseToTheTruthAndContiguous) {
    const Disturbance& given = GetParam();
    std::mt19937 random(7);
    std::uniform_real_distribution<double> jitter(-given.jitter, given.jitter);
    std::bernoulli_distribution late(given.lateShare);
    TimestampSmoother smoother(rate);
    const nanoseconds stretch = length(given.drift);
    const double nominal = length(0).count() / 1e9;
    double worst = 0;
    double worstSeam = 0;
    nanoseconds previous{};
    for (int i = 0; i < 3600 * rate / frames; ++i) {
        const nanoseconds truth = start + i * stretch;
        // The first report is the one that everything begins with; a late one there is another case.
        const nanoseconds delay = i > 0 && late(random) ? stretch : 0ns;
        const auto noise = nanoseconds(std::llround(jitter(random) * 1e9));
        const auto stamp = smoother.stamp(truth + noise + delay, frames);
        ASSERT_TRUE(stamp.has_value()) << "stretch " << i;
        if (i > 0) {
            ASSERT_GT(*stamp, previous);
            worstSeam = std::max(worstSeam, std::abs((*stamp - previous).count() / 1e9 - nominal));
        }
        if (i > 20 * rate / frames)
            worst = std::max(worst, std::abs(static_cast<double>((*stamp - truth).count())) / 1e9);
        previous = *stamp;
    }
    EXPECT_LT(worst, given.allowed);
    EXPECT_LE(worstSeam, 0.005 * nominal + 2e-9);
    if (given.lateShare == 0) {
        EXPECT_NEAR(smoother.drift(), given.drift, 150e-6);
    }
}

INSTANTIATE_TEST_SUITE_P(, SmootherForAnHour,
                         testing::Values(Disturbance{"exact", 0, 0, 0, 2e-6},
                                         Disturbance{"fast", -500e-6, 0, 0, 20e-6},
                                         Disturbance{"slow", 500e-6, 0, 0, 20e-6},
                                         Disturbance{"jitter", 0, 0.002, 0, 1e-3},
                                         Disturbance{"slowWithJitter", 500e-6, 0.002, 0, 1e-3},
                                         Disturbance{"fastWithJitter", -500e-6, 0.002, 0, 1e-3},
                                         Disturbance{"sometimesAStretchLate", 100e-6, 0.0002, 0.005, 2e-3}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(TimestampSmoother, neverLagsAMillisecondBehindADriftFromTheFirstStretchOn) {
    for (const double drift : {-500e-6, 500e-6}) {
        TimestampSmoother smoother(rate);
        for (int i = 0; i < 30 * rate / frames; ++i) {
            const nanoseconds truth = start + i * length(drift);
            const auto stamp = smoother.stamp(truth, frames);
            ASSERT_TRUE(stamp.has_value());
            ASSERT_LT(std::abs((*stamp - truth).count()), 1'000'000) << "stretch " << i;
        }
    }
}

TEST(TimestampSmoother, worksOffAWrongBeginningWithinSeconds) {
    TimestampSmoother smoother(rate);
    nanoseconds off{};
    for (int i = 0; i < 10 * rate / frames; ++i) {
        const nanoseconds truth = start + i * length(0);
        off = smoother.stamp(truth + (i == 0 ? 20ms : 0ms), frames).value() - truth;
    }
    EXPECT_LT(std::abs(off.count()), 1'000'000);
}

TEST(TimestampSmoother, showsAGapWhereTheReportsJumpAhead) {
    TimestampSmoother smoother(rate);
    nanoseconds time = start;
    for (int i = 0; i < 100; ++i, time += length(0))
        smoother.stamp(time, frames);
    const auto last = smoother.stamp(time, frames);
    time += length(0) + 300ms;
    EXPECT_EQ(smoother.stamp(time, frames).value(), time);
    EXPECT_NEAR(static_cast<double>((time - *last).count()), 300e6 + length(0).count(), 1e5);
    EXPECT_EQ(smoother.stamp(time + length(0), frames).value(), time + length(0));
}

TEST(TimestampSmoother, showsAShortGapThatItIsToldOf) {
    TimestampSmoother smoother(rate);
    nanoseconds time = start;
    for (int i = 0; i < 100; ++i, time += length(0))
        smoother.stamp(time, frames);
    time += 21ms;
    smoother.noteJump();
    EXPECT_EQ(smoother.stamp(time, frames).value(), time);
}

TEST(TimestampSmoother, leavesOutWhatAJumpBackWouldStampTwice) {
    TimestampSmoother smoother(rate);
    nanoseconds time = start;
    for (int i = 0; i < 100; ++i, time += length(0))
        ASSERT_TRUE(smoother.stamp(time, frames));
    const nanoseconds stampedUntil = time;
    time -= 200ms;
    int leftOut = 0;
    std::optional<nanoseconds> next;
    for (; !(next = smoother.stamp(time, frames)); time += length(0))
        ++leftOut;
    EXPECT_EQ(leftOut, 10);  // 200 ms in stretches of 21.3 ms, rounded up
    EXPECT_GE(next->count(), stampedUntil.count() - 100'000);
    EXPECT_NEAR(static_cast<double>((*next - time).count()), 0, 10);
}

TEST(TimestampSmoother, takesStretchesOfAnyLength) {
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
