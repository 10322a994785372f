// SPDX-License-Identifier: GPL-3.0-or-later
// Regions, the shadow image, the buffer pool, the source geometry and the frames' times.
#include "Linux/X11/Capture/CaptureContent.h"
#include "Linux/X11/Capture/FramePacer.h"
#include "Linux/X11/Capture/ShadowImage.h"
#include "Tests/Linux/X11/Pictures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <thread>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using test::plain;
using testing::ElementsAre;
using Time = FramePacer::Time;

BlockRegion regionOf(int width, int height, std::initializer_list<PixelRect> rects) {
    BlockRegion region(width, height);
    for (const PixelRect& rect : rects)
        region.add(rect);
    return region;
}

TEST(BlockRegionTests, RectanglesCoverExactlyTheTouchedBlocksOnce) {
    constexpr int width = 203;
    constexpr int height = 149;
    const auto coverage = [](const std::vector<PixelRect>& rects) {
        std::vector<int> counts(width * height);
        for (const PixelRect& rect : rects)
            for (int y = rect.y; y < rect.maxY(); ++y)
                for (int x = rect.x; x < rect.maxX(); ++x)
                    ++counts[static_cast<std::size_t>(y * width + x)];
        return counts;
    };
    std::mt19937 random(3);
    for (int round = 0; round < 50; ++round) {
        BlockRegion region(width, height);
        std::vector<int> expected(width * height);
        for (int i = 0; i < round % 12; ++i) {
            const PixelRect rect{int(random() % 240) - 20, int(random() % 180) - 20, int(random() % 60),
                                 int(random() % 60)};
            region.add(rect);
            const PixelRect inside = rect.intersection({0, 0, width, height});
            for (int at = 0; at < width * height; ++at) {
                const PixelRect block{at % width / 16 * 16, at / width / 16 * 16, 16, 16};
                if (!block.intersection(inside).isEmpty()) expected[static_cast<std::size_t>(at)] = 1;
            }
        }
        EXPECT_EQ(coverage(region.rectangles()), expected);
        const auto few = region.rectangles(3);
        EXPECT_LE(few.size(), 3U);
        const auto covered = coverage(few);
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_GE(covered[i], expected[i]);
        EXPECT_EQ(region.isEmpty(), few.empty());
    }
    const BlockRegion distant = regionOf(1000, 1000, {{0, 0, 1, 1}, {40, 0, 1, 1}, {990, 990, 1, 1}});
    EXPECT_THAT(distant.rectangles(2), ElementsAre(PixelRect{0, 0, 48, 16}, PixelRect{976, 976, 16, 16}));
}

TEST(ShadowImageTests, OnlyBlocksWithAnotherColourChange) {
    ShadowImage shadow(70, 50);
    BgraPicture fresh = plain(40, 40, 0xff000000U);  // black, with another fourth byte
    fresh.row(39)[39] = 0x010000;
    BlockRegion changed(70, 50);
    shadow.merge(10, 5, fresh.view(), changed);
    EXPECT_THAT(changed.rectangles(), ElementsAre(PixelRect{48, 32, 16, 16}));
    EXPECT_EQ(shadow.picture().row(44)[49], 0x010000U);

    changed.clear();
    shadow.merge(10, 5, fresh.view(), changed);
    EXPECT_TRUE(changed.isEmpty());

    fresh.row(0)[0] = 0x000001;  // at (10, 5)
    shadow.merge(10, 5, fresh.view(), changed);
    EXPECT_THAT(changed.rectangles(), ElementsAre(PixelRect{0, 0, 16, 16}));

    changed.clear();
    BgraPicture whole = shadow.picture();
    whole.row(49)[69] ^= 0x100U;
    whole.row(0)[20] ^= 0xff000000U;
    const std::uint32_t* const pixels = whole.row(0);
    shadow.replace(std::move(whole), changed);
    EXPECT_THAT(changed.rectangles(), ElementsAre(PixelRect{64, 48, 6, 2}));
    EXPECT_EQ(shadow.picture().row(0), pixels);
}

TEST(ShadowImageTests, BlackeningAffectsEverythingOutside) {
    for (const PixelRect inside :
         {PixelRect{10, 10, 20, 20}, PixelRect{0, 0, 64, 64}, PixelRect{50, 50, 100, 100}, PixelRect{}}) {
        ShadowImage shadow(64, 64);
        BlockRegion changed(64, 64);
        shadow.replace(plain(64, 64, 0xffffff), changed);
        shadow.blackenOutside(inside, changed);
        for (int at = 0; at < 64 * 64; ++at) {
            const bool kept = !PixelRect{at % 64, at / 64, 1, 1}.intersection(inside).isEmpty();
            ASSERT_EQ(shadow.picture().row(0)[at], kept ? 0xffffffU : 0U) << at;
        }
    }
}

bool isSignalled(const WakeUp& wakeUp) {
    pollfd watched{wakeUp.fileDescriptor(), POLLIN, 0};
    return poll(&watched, 1, 0) == 1;
}

TEST(PixelBufferPoolTests, BuffersAreReusedAndTrackWhatTheyLack) {
    const auto wakeUp = std::make_shared<WakeUp>();
    PixelBufferPool pool(33, 17, 2, wakeUp);
    auto first = pool.acquire();
    EXPECT_THAT(first->stale.rectangles(), ElementsAre(PixelRect{0, 0, 33, 17}));
    first->stale.clear();
    const CVPixelBuffer* const firstAddress = first.get();

    pool.invalidate(regionOf(33, 17, {{0, 0, 1, 1}}));
    auto second = pool.acquire();
    second->stale.clear();
    EXPECT_EQ(pool.acquire(), nullptr);

    first.reset();
    EXPECT_FALSE(isSignalled(*wakeUp)) << "not awaited";
    first = pool.acquire();
    EXPECT_EQ(first.get(), firstAddress);
    EXPECT_THAT(first->stale.rectangles(), ElementsAre(PixelRect{0, 0, 16, 16}));

    // Of two free buffers, the one with fewer stale blocks is taken.
    const CVPixelBuffer* const secondAddress = second.get();
    first.reset();
    second.reset();
    EXPECT_EQ(pool.acquire().get(), secondAddress);
}

TEST(PixelBufferPoolTests, AnAwaitedReturnIsSignalledAndBuffersOutliveThePool) {
    const auto wakeUp = std::make_shared<WakeUp>();
    auto pool = std::make_unique<PixelBufferPool>(16, 16, 1, wakeUp);
    std::shared_ptr<const CVPixelBuffer> held = pool->acquire();
    EXPECT_FALSE(pool->hasFree());
    std::thread([&held] { held.reset(); }).join();
    EXPECT_TRUE(isSignalled(*wakeUp));
    EXPECT_TRUE(pool->hasFree());

    held = pool->acquire();
    pool.reset();
    EXPECT_EQ(held->width, 16);
    held.reset();
}

TEST(SourceGeometryTests, TheSourceIsTheRoundedPartOfTheDisplay) {
    const PixelRect root{0, 0, 3000, 1000};
    const struct {
        int x;
        std::optional<Rect> sourceRect;
        double scale;
        SourceGeometry geometry;
    } cases[] = {
        {1000, {}, 2, {{1000, 0, 800, 600}, {1000, 0, 800, 600}}},
        {1000, Rect{}, 1, {{1000, 0, 800, 600}, {1000, 0, 800, 600}}},
        {1000, Rect{10.25, 20, 30.25, 40}, 2, {{1021, 40, 61, 80}, {1021, 40, 61, 80}}},
        {1000, Rect{-10, 590, 30, 40}, 1, {{990, 590, 30, 40}, {1000, 590, 20, 10}}},
        {2500, {}, 1, {{2500, 0, 800, 600}, {2500, 0, 500, 600}}},
        {0, Rect{900, 0, 10, 10}, 1, {{900, 0, 10, 10}, {}}},
        {0, Rect{0, 0, 0.1, 0.1}, 1, {{0, 0, 1, 1}, {0, 0, 1, 1}}},
    };
    for (const auto& [x, sourceRect, scale, geometry] : cases)
        EXPECT_EQ(sourceGeometry({x, 0, 800, 600}, root, sourceRect, scale), geometry);
}

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
