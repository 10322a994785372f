// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/ScreenSource.h"
#include "Tests/Linux/X11/Capture/ScreenStage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
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
    void TearDown() override { stage.expectNoFault(expectedFailure); }

    std::vector<PixelRect> lastDirtyRects() {
        return stage.frames.seen().complete.back().frameInfo->dirtyRects;
    }
    void awaitFailure(const std::string& expected) {
        expectedFailure = expected;
        EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) { return !seen.failure.empty(); }));
    }
    /// The size of the pictures, and the part of the display in points.
    void configure(int width, int height, const std::optional<Rect>& sourceRect = {}) {
        stage.configuration.width = width;
        stage.configuration.height = height;
        stage.configuration.sourceRect = sourceRect;
    }
    void paintDiagonal() {
        for (int i = 0; i < 40; ++i)
            stage.painter.fill({i * 10, i * 7, 9, 5}, static_cast<std::uint32_t>(i * 0x061020));
    }
    bool shows(const PixelRect& part = ScreenStage::whole) {
        return stage.frames.waitForPicture(stage.expected(part));
    }

    ScreenStage stage;
    std::string expectedFailure;
};

TEST_F(ScreenSourceTests, ASmallChangeMakesOnlyItsBlocksDirtyAndUncoveredPartsAreDelivered) {
    paintDiagonal();
    stage.capture();
    EXPECT_EQ(stage.frames.seen().last, stage.expected());
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
    // What a window uncovers is delivered, too.
    test::TestWindow window(stage.server.displayName(), {.frame = {100, 100, 90, 60}, .colour = 0xff8000});
    EXPECT_TRUE(shows());
    window.move(203, 141);
    EXPECT_TRUE(shows());
}

TEST_F(ScreenSourceTests, ABurstIsPacedAndLosesNothingWhileConsumersHoldAllBuffers) {
    stage.configuration.queueDepth = 3 - ScreenSource::heldByReceiver;  // three buffers in all
    stage.configuration.minimumFrameInterval = CMTime(1, 30);
    std::mutex mutex;
    std::vector<std::shared_ptr<const CVPixelBuffer>> held;
    std::size_t most = 0;
    stage.frames.onFrame = [&](const CMSampleBuffer& sample) {
        const std::lock_guard lock(mutex);
        held.push_back(sample.imageBuffer);
        most = std::max(most, held.size());
    };
    stage.capture();
    // Rectangles all over the screen. Buffers are returned late, and not always the oldest, so that their
    // ages differ.
    std::mt19937 random(5);
    const auto returnBuffer = [&] {
        const std::lock_guard lock(mutex);
        if (!held.empty()) held.erase(held.begin() + std::ptrdiff_t(random() % held.size()));
    };
    for (int i = 0; i < 400; ++i) {
        stage.painter.fill({int(random() % 420) - 10, int(random() % 310) - 5, int(random() % 60) + 1,
                            int(random() % 60) + 1},
                           static_cast<std::uint32_t>(random()) & 0xffffff);
        if (i % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(random() % 40));
        if (i % 30 == 0) returnBuffer();
    }
    EXPECT_TRUE(stage.frames.waitUntil([&, last = stage.expected()](const auto& seen) {
        returnBuffer();
        return seen.last == last;
    }));
    stage.stop();
    EXPECT_EQ(most, 3U);
    const auto frames = stage.frames.seen().complete;
    EXPECT_GT(frames.size(), 5U);
    EXPECT_LT(stage.source->wakeUps(), 5 * frames.size() + 10);
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const CMTime gap = frames[i].presentationTimeStamp() - frames[i - 1].presentationTimeStamp();
        EXPECT_GE(gap.seconds(), 0.9 / 30);
    }
}

TEST_F(ScreenSourceTests, RepaintingDeliversNothingAndTheThreadSleepsUntilItStopsForGood) {
    const auto repaint = [&] { stage.painter.fill({100, 100, 100, 100}, 0x405060); };
    repaint();
    stage.capture();
    repaint();
    ASSERT_TRUE(stage.frames.waitForIdleFrame());
    // The wake-up that sent the idle frame is the last.
    const auto wakeUps = stage.source->wakeUps();
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(stage.source->wakeUps(), wakeUps);
    EXPECT_EQ(stage.frames.seen().complete.size(), 1U);
    EXPECT_EQ(stage.frames.seen().idle, 1U);
    // Also not together with a real change.
    repaint();
    stage.painter.fill({10, 10, 1, 1}, 0xffffff);
    ASSERT_TRUE(stage.frames.waitForFrames(2));
    EXPECT_THAT(lastDirtyRects(), ElementsAre(PixelRect{0, 0, 16, 16}));
    stage.source->stop();
    stage.painter.fill({0, 0, 50, 50}, 0xffffff);
    stage.source->stop();
    EXPECT_EQ(stage.frames.seen().complete.size(), 2U);
}

TEST_F(ScreenSourceTests, ASourceRectangleIsInPointsAndChangesOutsideAreIgnored) {
    configure(101, 80, Rect{20, 30, 50.5, 40});
    stage.capture({}, 2);
    stage.painter.fill({0, 0, 40, 300}, 0xffffff);
    stage.painter.fill({141, 60, 10, 10}, 0xffffff);
    ASSERT_TRUE(stage.frames.waitForIdleFrame());
    EXPECT_EQ(stage.frames.seen().complete.size(), 1U);
    stage.painter.fill({30, 50, 20, 20}, 0xff0000);
    EXPECT_TRUE(shows({40, 60, 101, 80}));
    EXPECT_THAT(lastDirtyRects(), ElementsAre(PixelRect{0, 0, 16, 16}));
}

TEST_F(ScreenSourceTests, AnUpdateMovesTheSourceWhileItRuns) {
    configure(100, 100, Rect{0, 0, 100, 100});
    paintDiagonal();
    stage.capture();
    for (const auto& [x, y] : {std::pair{7, 3}, {120, 90}, {303, 201}}) {
        stage.setSourceRect({double(x), double(y), 100, 100});
        EXPECT_TRUE(shows({x, y, 100, 100}));
    }
    // A smaller part is enlarged to fill the picture.
    stage.painter.fill({200, 200, 50, 50}, 0xffffff);
    stage.setSourceRect({200, 200, 50, 50});
    EXPECT_TRUE(stage.frames.waitForPicture(Picture(test::plain(100, 100, 0xffffff))));
    // Outside of the screen the picture is black.
    stage.painter.fill({353, 251, 50, 50}, 0xffffff);
    stage.setSourceRect({353, 251, 100, 100});
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return seen.last.y(49, 49) == 235 && seen.last.y(50, 49) == 16 && seen.last.y(49, 50) == 16;
    }));
}

TEST_F(ScreenSourceTests, TheCursorIsDrawnWithItsHotSpotAtThePointer) {
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

    // Relative motion is reported by the server's input devices, like that of a real mouse.
    stage::runProgram({"xdotool", "mousemove_relative", "50", "0"},
                      {{"DISPLAY", stage.server.displayName()}});
    EXPECT_TRUE(cursorIsAt(150, 80));
    stage.painter.movePointer(201, 150);
    // A pointer warped by a program need not cause a motion event; the next change shows it at the latest.
    stage.painter.fill({0, 290, 1, 1}, 0xffffff);
    EXPECT_TRUE(cursorIsAt(201, 150));
    EXPECT_EQ(stage.frames.seen().last.y(100, 80), clean.y(0, 0));

    // What is drawn below it appears when it is hidden.
    stage.painter.fill({190, 140, 30, 30}, 0x000000);
    stage.painter.showSquareCursor(3, 0xff0000);
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return std::abs(seen.last.y(201, 150) - 63) <= 1 && seen.last.y(204, 150) == 16;
    }));
    stage.configuration.showsCursor = false;
    stage.source->update(stage.configuration);
    EXPECT_TRUE(shows());
}

TEST_F(ScreenSourceTests, TheSourceFollowsItsMonitor) {
    paintDiagonal();
    stage.painter.setMonitor("beamer", {200, 0, 203, 150});
    configure(203, 150);
    stage.capture("beamer");
    EXPECT_EQ(stage.frames.seen().last, stage.expected({200, 0, 203, 150}));
    const auto moveMonitor = [&](const PixelRect& frame) {
        stage.painter.deleteMonitor("beamer");
        stage.painter.setMonitor("beamer", frame);
    };
    moveMonitor({100, 50, 203, 150});
    EXPECT_TRUE(shows({100, 50, 203, 150}));

    // What no longer exists is black.
    stage.painter.resizeScreen(250, 301);
    stage.painter.fill({0, 0, 250, 301}, 0xffffff);
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return seen.last.y(149, 75) == 235 && seen.last.y(150, 75) == 16 && seen.last.y(202, 149) == 16;
    }));

    // Another shape is fitted into the same picture.
    moveMonitor({0, 0, 150, 150});
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return seen.last.y(25, 75) == 16 && seen.last.y(27, 75) == 235 && seen.last.y(177, 75) == 16;
    }));

    stage.painter.deleteMonitor("beamer");
    awaitFailure("The display is no longer available.");
}

TEST_F(ScreenSourceTests, ALostServerEndsTheCapture) {
    stage.capture();
    stage.server.kill();
    awaitFailure("The connection to the display server was lost.");
}

}  // namespace
}  // namespace lumicrate::x11
