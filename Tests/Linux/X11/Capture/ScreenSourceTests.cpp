#include "Linux/X11/Capture/ScreenSource.h"
#include "Tests/Linux/X11/ScreenStage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <thread>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using test::Picture;
using test::ScreenStage;
using testing::ElementsAre;

class ScreenSourceTests : public testing::Test {
 protected:
    void TearDown() override {
        if (stage.source) stage.source->stop();
        EXPECT_EQ(stage.frames.seen().violation, "");
        EXPECT_EQ(stage.frames.seen().failure, "");
    }

    std::vector<PixelRect> lastDirtyRects() {
        return stage.frames.seen().complete.back().frameInfo->dirtyRects;
    }

    /// Hundreds of rectangles all over the screen, some at once and some after a while.
    void paintAtRandom(int count) {
        std::mt19937 random(5);
        for (int i = 0; i < count; ++i) {
            stage.painter.fill({int(random() % 420) - 10, int(random() % 310) - 5, int(random() % 60) + 1,
                                int(random() % 60) + 1},
                               static_cast<std::uint32_t>(random()) & 0xffffff);
            if (random() % 3 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 12000));
        }
        stage.painter.sync();
    }

    ScreenStage stage;
};

TEST_F(ScreenSourceTests, PatchesHaveTheDefinedColours) {
    struct Patch {
        std::uint32_t colour;
        int y, cb, cr;
    };
    const Patch patches[] = {{0x000000, 16, 128, 128}, {0xffffff, 235, 128, 128}, {0xff0000, 63, 102, 240},
                             {0x00ff00, 173, 42, 26},  {0x0000ff, 32, 240, 118},  {0x808080, 126, 128, 128},
                             {0xffff00, 219, 16, 138}, {0x00ffff, 188, 154, 16},  {0xff00ff, 78, 214, 230}};
    int x = 0;
    for (const Patch& patch : patches)
        stage.painter.fill({40 * x++, 100, 40, 50}, patch.colour);
    stage.painter.sync();
    stage.capture();
    const Picture picture = stage.frames.seen().last;
    x = 20;
    for (const Patch& patch : patches) {
        EXPECT_NEAR(picture.y(x, 120), patch.y, 1) << std::hex << patch.colour;
        EXPECT_NEAR(picture.cb(x, 120), patch.cb, 1) << std::hex << patch.colour;
        EXPECT_NEAR(picture.cr(x, 120), patch.cr, 1) << std::hex << patch.colour;
        x += 40;
    }
    EXPECT_EQ(picture, stage.expected());
}

TEST_F(ScreenSourceTests, ASmallChangeMakesOnlyItsBlocksDirty) {
    stage.capture();
    const CMTime before = HostClock().time();
    stage.painter.fill({50, 70, 10, 10}, 0xffffff);
    ASSERT_TRUE(stage.frames.waitForFrames(2));
    EXPECT_THAT(lastDirtyRects(), ElementsAre(PixelRect{48, 64, 16, 16}));
    const auto time = stage.frames.seen().complete[1].presentationTimeStamp();
    EXPECT_TRUE(time >= before && time <= HostClock().time());

    stage.painter.fill({402, 300, 1, 1}, 0xffffff);
    ASSERT_TRUE(stage.frames.waitForFrames(3));
    EXPECT_THAT(lastDirtyRects(), ElementsAre(PixelRect{400, 288, 3, 13}));
    EXPECT_EQ(stage.frames.seen().last, stage.expected());
}

TEST_F(ScreenSourceTests, WhatAWindowUncoversIsDelivered) {
    stage.capture();
    xcb_connection_t* const connection = stage.painter.connection();
    const xcb_window_t window = xcb_generate_id(connection);
    const std::uint32_t values[] = {0xff8000, 1};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, stage.painter.root(), 100, 100, 90, 60, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(connection, window);
    stage.painter.sync();
    EXPECT_TRUE(stage.frames.waitForPicture(stage.expected()));
    const std::uint32_t to[] = {203, 141};
    xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, to);
    stage.painter.sync();
    const Picture moved = stage.expected();
    EXPECT_TRUE(stage.frames.waitForPicture(moved));
    EXPECT_GT(moved.y(210, 150), moved.y(110, 110));
}

TEST_F(ScreenSourceTests, AfterABurstTheLastFrameShowsTheScreen) {
    stage.capture();
    paintAtRandom(400);
    EXPECT_TRUE(stage.frames.waitForPicture(stage.expected()));
    EXPECT_GT(stage.frames.seen().complete.size(), 10U);
}

TEST_F(ScreenSourceTests, NothingIsLostWhileConsumersHoldAllBuffers) {
    stage.configuration.queueDepth = 3;
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::shared_ptr<const CVPixelBuffer>> held;
    bool ending = false;
    std::size_t most = 0;
    stage.frames.onFrame = [&](const CMSampleBuffer& sample) {
        const std::lock_guard lock(mutex);
        held.push_back(sample.imageBuffer);
        most = std::max(most, held.size());
        arrived.notify_one();
    };
    std::thread consumer([&] {
        std::mt19937 random(9);
        std::unique_lock lock(mutex);
        while (true) {
            arrived.wait(lock, [&] { return ending || !held.empty(); });
            if (held.empty()) return;
            lock.unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
            lock.lock();
            // Not always the oldest, so that the buffers' ages get mixed up.
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(random() % held.size()));
        }
    });
    stage.capture();
    paintAtRandom(400);
    EXPECT_TRUE(stage.frames.waitForPicture(stage.expected()));
    stage.source->stop();
    {
        const std::lock_guard lock(mutex);
        ending = true;
        arrived.notify_one();
    }
    consumer.join();
    EXPECT_EQ(most, 3U);
}

TEST_F(ScreenSourceTests, RepaintingTheSamePixelsDeliversNothing) {
    stage.painter.fill({100, 100, 100, 100}, 0x405060);
    stage.painter.sync();
    stage.capture();
    stage.painter.fill({100, 100, 100, 100}, 0x405060);
    stage.painter.sync();
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) { return seen.idle == 1; }));
    EXPECT_EQ(stage.frames.seen().complete.size(), 1U);
    // Also not along with something that is new.
    stage.painter.fill({100, 100, 100, 100}, 0x405060);
    stage.painter.fill({10, 10, 1, 1}, 0xffffff);
    ASSERT_TRUE(stage.frames.waitForFrames(2));
    EXPECT_THAT(lastDirtyRects(), ElementsAre(PixelRect{0, 0, 16, 16}));
}

TEST_F(ScreenSourceTests, WhileTheScreenIsStillTheThreadSleeps) {
    stage.capture();
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) { return seen.idle == 1; }));
    // The wake-up that sent the idle frame is the last.
    const auto wakeUps = stage.source->wakeUps();
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(stage.source->wakeUps(), wakeUps);
    EXPECT_EQ(stage.frames.seen().complete.size(), 1U);
    EXPECT_EQ(stage.frames.seen().idle, 1U);
}

TEST_F(ScreenSourceTests, FramesKeepTheirDistanceHoweverOftenTheScreenChanges) {
    stage.configuration.minimumFrameInterval = CMTime(1, 20);
    stage.capture();
    for (int i = 0; i < 200; ++i) {
        stage.painter.fill({i, i, 5, 5}, 0xffffff);
        std::this_thread::sleep_for(4ms);
    }
    stage.painter.sync();
    EXPECT_TRUE(stage.frames.waitForPicture(stage.expected()));
    const auto seen = stage.frames.seen();
    for (std::size_t i = 1; i < seen.complete.size(); ++i) {
        const CMTime gap =
            seen.complete[i].presentationTimeStamp() - seen.complete[i - 1].presentationTimeStamp();
        EXPECT_GE(gap.seconds(), 0.9 / 20);
    }
    EXPECT_LT(stage.source->wakeUps(), 4 * seen.complete.size() + 10);
}

TEST_F(ScreenSourceTests, ASourceRectangleIsInPointsAndWhatHappensOutsideIsIgnored) {
    stage.configuration.sourceRect = Rect{20, 30, 50.5, 40};
    stage.configuration.width = 101;
    stage.configuration.height = 80;
    stage.capture({}, 2);
    const PixelRect pixels{40, 60, 101, 80};
    EXPECT_EQ(stage.frames.seen().last, stage.expected(pixels));
    stage.painter.fill({0, 0, 40, 300}, 0xffffff);
    stage.painter.fill({141, 60, 10, 10}, 0xffffff);
    stage.painter.sync();
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) { return seen.idle == 1; }));
    EXPECT_EQ(stage.frames.seen().complete.size(), 1U);
    stage.painter.fill({30, 50, 20, 20}, 0xff0000);
    ASSERT_TRUE(stage.frames.waitForFrames(2));
    EXPECT_THAT(lastDirtyRects(), ElementsAre(PixelRect{0, 0, 16, 16}));
    EXPECT_EQ(stage.frames.seen().last, stage.expected(pixels));
}

TEST_F(ScreenSourceTests, ARectangleThatReachesOutsideIsBlackThere) {
    stage.configuration.sourceRect = Rect{383, 281, 40, 40};
    stage.configuration.width = 40;
    stage.configuration.height = 40;
    stage.painter.fill({0, 0, 403, 301}, 0xffffff);
    stage.painter.sync();
    stage.capture();
    stage.painter.fill({390, 290, 10, 10}, 0xff0000);
    ASSERT_TRUE(stage.frames.waitForFrames(2));
    const Picture picture = stage.frames.seen().last;
    EXPECT_EQ(picture.y(19, 19), 235);
    EXPECT_EQ(picture.y(20, 19), 16);
    EXPECT_EQ(picture.y(19, 20), 16);
    EXPECT_NEAR(picture.y(8, 10), 63, 1);
}

TEST_F(ScreenSourceTests, AnUpdateMovesTheSourceWhileItRuns) {
    stage.configuration.sourceRect = Rect{0, 0, 100, 100};
    stage.configuration.width = 100;
    stage.configuration.height = 100;
    for (int i = 0; i < 30; ++i)
        stage.painter.fill({i * 10, i * 7, 9, 5}, static_cast<std::uint32_t>(i * 0x081020));
    stage.painter.sync();
    stage.capture();
    for (const auto& [x, y] : {std::pair{7, 3}, {120, 90}, {303, 201}}) {
        stage.configuration.sourceRect = Rect{double(x), double(y), 100, 100};
        stage.source->update(stage.configuration);
        EXPECT_TRUE(stage.frames.waitForPicture(stage.expected({x, y, 100, 100})));
    }
    // Another size is made to fit the picture.
    stage.painter.fill({200, 200, 50, 50}, 0xffffff);
    stage.configuration.sourceRect = Rect{200, 200, 50, 50};
    stage.source->update(stage.configuration);
    EXPECT_TRUE(stage.frames.waitForPicture(Picture([] {
        BgraPicture white(100, 100);
        for (int y = 0; y < 100; ++y)
            std::fill_n(white.row(y), 100, 0xffffffU);
        return white;
    }())));
}

TEST_F(ScreenSourceTests, AScaledPictureKeepsItsShapeBetweenBars) {
    stage.configuration.width = 300;
    stage.configuration.height = 100;
    stage.painter.fill({0, 0, 403, 301}, 0xffffff);
    stage.painter.sync();
    stage.capture();
    const Picture picture = stage.frames.seen().last;  // 134 × 100 in the middle
    EXPECT_EQ(picture.y(80, 50), 16);
    EXPECT_EQ(picture.y(83, 50), 235);
    EXPECT_EQ(picture.y(83, 99), 235);
    EXPECT_EQ(picture.y(216, 0), 235);
    EXPECT_EQ(picture.y(217, 50), 16);

    paintAtRandom(100);
    BgraPicture screen = stage.painter.screen({0, 0, 403, 301});
    PictureComposer composer(300, 100);
    composer.setSource(403, 301, true);
    PixelBuffer anew(300, 100);
    composer.compose(screen, {}, anew);
    EXPECT_TRUE(stage.frames.waitForPicture(Picture(anew)));
}

TEST_F(ScreenSourceTests, TheCursorIsDrawnWithItsHotSpotWhereThePointerIs) {
    stage.configuration.showsCursor = true;
    stage.painter.showSquareCursor(9, 0xffffff);
    stage.painter.movePointer(100, 80);
    stage.capture();
    const Picture clean = stage.expected();
    const auto cursorIsAt = [&](int x, int y) {
        return stage.frames.waitUntil([=](const auto& seen) {
            const Picture& last = seen.last;
            return last.y(x - 4, y - 4) == 235 && last.y(x + 4, y + 4) == 235 &&
                   last.y(x - 5, y - 4) == clean.y(0, 0) && last.y(x + 4, y + 5) == clean.y(0, 0);
        });
    };
    EXPECT_TRUE(cursorIsAt(100, 80));

    stage.painter.movePointer(201, 150);
    // A jump by another program need not be reported as motion; with the next change it is seen at the
    // latest.
    stage.painter.fill({0, 290, 1, 1}, 0xffffff);
    EXPECT_TRUE(cursorIsAt(201, 150));
    EXPECT_EQ(stage.frames.seen().last.y(100, 80), clean.y(0, 0));

    // What is drawn below it comes out when it is gone.
    stage.painter.fill({190, 140, 30, 30}, 0x000000);
    stage.painter.showSquareCursor(3, 0xff0000);
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return std::abs(seen.last.y(201, 150) - 63) <= 1 && seen.last.y(204, 150) == 16;
    }));
    stage.configuration.showsCursor = false;
    stage.source->update(stage.configuration);
    EXPECT_TRUE(stage.frames.waitForPicture(stage.expected()));
}

TEST_F(ScreenSourceTests, TheMouseAloneMovesTheCursor) {
    stage.configuration.showsCursor = true;
    stage.configuration.width = 202;
    stage.configuration.height = 151;
    stage.painter.showSquareCursor(11, 0xffffff);
    stage.painter.movePointer(50, 50);
    stage.capture();
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) { return seen.last.y(25, 25) == 235; }));
    stage::ChildProcess::Options options;
    options.environment = {{"DISPLAY", stage.server.displayName()}};
    for (const int x : {100, 150, 200}) {
        // Relative movement comes from the server's input devices, like that of a real mouse.
        stage::ChildProcess xdotool({"xdotool", "mousemove_relative", "50", "0"}, options);
        EXPECT_TRUE(stage.frames.waitUntil([x](const auto& seen) { return seen.last.y(x / 2, 25) == 235; }))
            << x;
    }
    EXPECT_LT(stage.frames.seen().last.y(25, 25), 100);
}

TEST_F(ScreenSourceTests, StoppingIsFinalAndMayBeRepeated) {
    stage.capture();
    stage.source->stop();
    const auto frames = stage.frames.seen().complete.size();
    stage.painter.fill({0, 0, 50, 50}, 0xffffff);
    stage.painter.sync();
    stage.source->stop();
    EXPECT_EQ(stage.frames.seen().complete.size(), frames);
}

}  // namespace
}  // namespace lumicrate::x11
