// SPDX-License-Identifier: GPL-3.0-or-later
// Regions, the shadow image, the buffer pool and the frames' times.
#include "Linux/Pictures/FramePacer.h"
#include "Linux/Pictures/ShadowImage.h"
#include "Tests/Linux/Pictures/Pictures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <thread>

namespace lumicrate::pictures {
namespace {

using namespace std::chrono_literals;
using test::plain;
using testing::ElementsAre;
using testing::Ge;
using testing::Pointwise;
using Time = FramePacer::Time;

BlockRegion regionOf(int width, int height, std::initializer_list<PixelRect> rects) {
    BlockRegion region(width, height);
    for (const PixelRect& rect : rects)
        region.add(rect);
    return region;
}

TEST(BlockRegionTests, RectanglesCoverExactlyTheTouchedBlocksOnce) {
    constexpr PixelRect all{0, 0, 203, 149};
    /// How many of the rectangles cover each pixel.
    const auto coverage = [&](const std::vector<PixelRect>& rects) {
        std::vector<int> counts;
        for (int at = 0; at < all.area(); ++at) {
            const PixelRect pixel{at % all.width, at / all.width, 1, 1};
            counts.push_back(int(std::ranges::count_if(
                rects, [&](const PixelRect& rect) { return rect.intersection(pixel) == pixel; })));
        }
        return counts;
    };
    std::mt19937 random(3);
    for (int round = 0; round < 24; ++round) {
        BlockRegion region(all.width, all.height);
        std::vector<int> expected(static_cast<std::size_t>(all.area()));
        for (int i = 0; i < round % 12; ++i) {
            const PixelRect rect{int(random() % 240) - 20, int(random() % 180) - 20, int(random() % 60),
                                 int(random() % 60)};
            region.add(rect);
            for (std::size_t at = 0; at < expected.size(); ++at) {
                const PixelRect block{int(at) % all.width / 16 * 16, int(at) / all.width / 16 * 16, 16, 16};
                if (!block.intersection(rect.intersection(all)).isEmpty()) expected[at] = 1;
            }
        }
        EXPECT_EQ(coverage(region.rectangles()), expected);
        const auto few = region.rectangles(3);
        EXPECT_LE(few.size(), 3U);
        EXPECT_THAT(coverage(few), Pointwise(Ge(), expected));
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

TEST(PixelBufferPoolTests, BuffersAreReusedAndTrackWhatTheyLackAndAnAwaitedReturnIsSignalled) {
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

    EXPECT_FALSE(pool.hasFree());
    std::thread([&first] { first.reset(); }).join();
    EXPECT_TRUE(isSignalled(*wakeUp)) << "awaited";
    EXPECT_TRUE(pool.hasFree());

    // Of two free buffers, the one with fewer stale blocks is taken.
    const CVPixelBuffer* const secondAddress = second.get();
    second.reset();
    second = pool.acquire();
    EXPECT_EQ(second.get(), secondAddress);
    pool = PixelBufferPool(1, 1, 1, wakeUp);
    EXPECT_EQ(second->width, 33) << "it outlives its pool";
}

TEST(FramePacerTests, ContentOfTheSameRateLosesNoFrameAndFasterContentIsLimited) {
    constexpr Time thirtieth = 33'333'333ns;
    const struct {
        double changesPerSecond;
        Time jitter, lateness;  // of changes, in both directions, and of timers
        std::size_t minFrames, maxFrames;
    } cases[] = {{30, 0ms, 0ms, 3000, 3000},
                 {30, 0ms, 2ms, 3000, 3000},
                 {30, 1ms, 0ms, 3000, 3000},
                 {30, 5ms, 1ms, 3000, 3000},
                 {144, 2ms, 1ms, 2990, 3001}};
    for (const auto& [rate, jitter, lateness, minFrames, maxFrames] : cases) {
        SCOPED_TRACE(testing::Message() << rate << " " << jitter.count() << " " << lateness.count());
        std::mt19937 random(1);
        const auto upTo = [&](Time limit) {
            return Time(std::uniform_int_distribution<Time::rep>(0, limit.count())(random));
        };
        std::vector<Time> changes;
        for (int i = 0; i < 100 * rate; ++i)
            changes.push_back(1s + Time(std::llround(i * 1e9 / rate)) + upTo(2 * jitter) - jitter);
        std::ranges::sort(changes);

        FramePacer pacer(thirtieth);
        std::size_t frames = 0;
        Time last = -1s;
        for (auto change = changes.begin(); change != changes.end(); ++frames) {
            const Time due = pacer.due();
            const Time now = *change >= due ? *change : due + upTo(lateness);
            // Changes that come before a frame are in it.
            change = std::ranges::upper_bound(change, changes.end(), now);
            pacer.delivered(now);
            EXPECT_GE(now - std::exchange(last, now), thirtieth * 9 / 10);
        }
        EXPECT_GE(frames, minFrames);
        EXPECT_LE(frames, maxFrames);
    }
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
}  // namespace lumicrate::pictures
