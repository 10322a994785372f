// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/AudioTimeline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

namespace lumicrate::media {
namespace {

constexpr CMTime start{777, 1};

CMTime at(std::int64_t frame) {
    return start + CMTime(frame, 48000);
}

void expectPlacement(const AudioPlacement& got, AudioPlacement wanted) {
    EXPECT_EQ(got.silence, wanted.silence);
    EXPECT_EQ(got.skip, wanted.skip);
    EXPECT_EQ(got.take, wanted.take);
    EXPECT_EQ(got.make, wanted.make);
}

TEST(AudioTimelineTests, TheStartIsExact) {
    AudioTimeline late(start, 48000);
    expectPlacement(late.place(at(7), 480), {7, 0, 480, 480});
    AudioTimeline early(start, 48000);
    expectPlacement(early.place(at(-1000), 480), {0, 480, 0, 0});
    expectPlacement(early.place(at(-520), 480), {0, 480, 0, 0});
    expectPlacement(early.place(at(-40), 480), {0, 40, 440, 440});
    expectPlacement(early.place(at(440), 480), {0, 0, 480, 480});
    EXPECT_EQ(early.length(), 920);
}

TEST(AudioTimelineTests, GapsAreFilledAndOverlapsCutExactly) {
    AudioTimeline line(start, 48000);
    line.place(at(0), 4800);
    expectPlacement(line.place(at(4800 + 961), 480), {961, 0, 480, 480});
    expectPlacement(line.place(at(6241 - 1500), 4800), {0, 1500, 3300, 3300});
    expectPlacement(line.place(at(0), 4800), {0, 4800, 0, 0});
    EXPECT_EQ(line.padTo(at(9600)), 9600 - 9541);
    EXPECT_EQ(line.padTo(at(100)), 0);

    AudioTimeline starved(start, 48000);  // a sound server that lost a cycle
    starved.place(at(0), 512);
    expectPlacement(starved.place(at(1024), 512), {512, 0, 512, 512});
}

TEST(AudioTimelineTests, FollowsADriftingClockForAnHour) {
    // Parts per million, and jitter in frames.
    for (const auto& [partsPerMillion, jitter] :
         std::vector<std::pair<double, int>>{{300, 0}, {-300, 0}, {300, 240}, {-300, 240}, {0, 160}}) {
        AudioTimeline line(start, 48000);
        std::mt19937 random(5);
        const double real = 1 + partsPerMillion / 1e6;
        std::int64_t worst = 0;
        std::int64_t cut = 0;
        std::int64_t maxStretch = 0;
        for (std::int64_t frames = 0; frames < std::int64_t{3600} * 48000; frames += 480) {
            const std::int64_t truth = std::llround(static_cast<double>(frames) * real);
            const auto spread = static_cast<std::int64_t>(jitter ? random() % (2U * jitter) : 0);
            worst = std::max(worst, std::abs(line.length() - truth));
            const AudioPlacement placement = line.place(at(truth + spread - jitter), 480);
            if (frames > 0) cut += placement.silence + placement.skip;
            maxStretch = std::max(maxStretch, std::abs(placement.make - placement.take));
        }
        EXPECT_LT(worst, 480) << partsPerMillion << " ppm, jitter of " << jitter << " frames";
        EXPECT_EQ(cut, 0);
        EXPECT_LE(maxStretch, 1);
    }
}

}  // namespace
}  // namespace lumicrate::media
