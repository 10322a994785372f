// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/FilteredContent.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Tests/Linux/X11/Capture/ScreenStage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace lumicrate::x11 {
namespace {

using test::Picture;
using test::ScreenStage;
using test::TestWindow;

SCWindow numbered(const TestWindow& window) {
    SCWindow numbered;
    numbered.windowID = window.id();
    return numbered;
}

/// With these pixels per point, with and without a compositing manager.
class RecordedWindowTests : public testing::TestWithParam<std::pair<double, bool>> {};
INSTANTIATE_TEST_SUITE_P(X11, RecordedWindowTests,
                         testing::Values(std::pair(1.0, false), std::pair(1.25, true), std::pair(1.5, false),
                                         std::pair(2.0, true)));

/// A window with a shadow around its frame is dragged over two monitors, below an overlay and the cursor, and
/// partly off the screen.
TEST_P(RecordedWindowTests, EveryFrameShowsExactlyTheWindowsPixelsWhereverItIs) {
    const auto [scale, compositor] = GetParam();
    std::vector<Picture> delivered, expected;
    ScreenStage stage(compositor);
    stage.painter.setMonitor("left", {0, 0, 200, 301});
    stage.painter.setMonitor("right", {200, 0, 203, 301});
    stage.painter.showSquareCursor(9, 0xffffff);
    stage.painter.movePointer(284, 124);
    TestWindow recorded(stage.server.displayName(), {.frame = {84, 87, 112, 80}});
    recorded.setProperty("_GTK_FRAME_EXTENTS", "CARDINAL", {7, 4, 5, 9});
    TestWindow overlay(stage.server.displayName(), {.frame = {260, 110, 30, 20}, .colour = 0xff8000});
    PixelRect frame{88, 91, 101, 66};
    const auto inPoints = [&] {
        const PixelRect shown = frame.intersection({0, 0, 200, 301});
        return Rect(shown.x, shown.y, shown.width, shown.height).scaledBy(1 / scale).integral();
    };
    stage.configuration.followsFirstWindow = true;
    stage.configuration.showsCursor = true;
    stage.configuration.sourceRect = inPoints();
    stage.configuration.width = static_cast<int>(std::lround(inPoints().width * scale));
    stage.configuration.height = static_cast<int>(std::lround(inPoints().height * scale));

    const auto content = [](int x, int y, int step) { return std::uint32_t(x * y + step * 64) % 0x10000; };
    const auto expect = [&](int step) {
        expected.emplace_back(
            test::painted(stage.configuration.width, stage.configuration.height, [&](int x, int y) {
                x = std::min(x, frame.width - 1) + frame.x;
                y = std::min(y, frame.height - 1) + frame.y;
                if (x >= 280 && x < 289 && y >= 120 && y < 129) return 0xffffffU;
                if (x >= 260 && x < 290 && y >= 110 && y < 130) return 0xff8000U;
                return content(x - frame.x + 7, y - frame.y + 5, step);
            }));
    };
    stage.frames.onFrame = [&](const CMSampleBuffer& each) { delivered.emplace_back(*each.imageBuffer); };
    for (int step = 0; step < 90; ++step) {
        // The pixels may be newer than the place that was known when their reading was planned.
        expect(step);
        frame = frame.offsetBy(3, 1);
        expect(step - 1);
        recorded.move(frame.x - 7, frame.y - 5);
        recorded.fill(test::painted(112, 80, [&](int x, int y) { return content(x, y, step); }));
        expect(step);
        if (step == 0)
            stage.capture(SCContentFilter::includingWindows(stage.display("left", scale),
                                                            {numbered(recorded), numbered(overlay)}));
        ASSERT_TRUE(stage.frames.waitForPicture(expected.back())) << step;
        if (step % 10 == 0 && !inPoints().isEmpty()) stage.setSourceRect(inPoints());
    }
    stage.expectNoFault();
    for (std::size_t i = 0; i < delivered.size(); ++i)
        EXPECT_THAT(expected, testing::Contains(delivered[i])) << i;
}

TEST(RecordedFrameTests, IsWhatTheWindowListReports) {
    ScreenStage stage;
    stage.server.startWindowManager();
    TestWindow window(stage.server.displayName(), {.frame = {60, 50, 150, 130}, .managed = true});
    const WindowList list(stage.server.displayName());
    const Connection connection(stage.server.displayName());
    FilteredContent content(connection, SCContentFilter::desktopIndependent(numbered(window)));
    const std::function<void()> steps[] = {
        [] {},
        [&] { window.move(-30, 200); },
        [&] {
            window.place({80, 70, 93, 101});
        },
        [&] {
            ask(window, "_NET_WM_STATE", {1, connection.internAtom("_NET_WM_STATE_FULLSCREEN")});
        },
        [&] {
            ask(window, "_NET_WM_STATE", {0, connection.internAtom("_NET_WM_STATE_FULLSCREEN")});
        },
        [&] {
            window.setProperty("_MOTIF_WM_HINTS", "_MOTIF_WM_HINTS", {2, 0, 0, 0, 0});
        },
        [&] {
            window.setProperty("_GTK_FRAME_EXTENTS", "CARDINAL", {7, 4, 5, 9});
        },
    };
    for (const auto& step : steps) {
        const Rect before = list.bounds(window.id()).value_or(Rect());
        step();
        EXPECT_TRUE(test::eventually([&] {
            connection.processEvents([&](const xcb_generic_event_t& event) { content.handleEvent(event); });
            content.locateWindows();
            const PixelRect now = content.recordedFrame().value_or(PixelRect());
            const Rect inPoints(now.x, now.y, now.width, now.height);
            return list.bounds(window.id()) == inPoints && (&step == steps || inPoints != before);
        })) << &step - steps;
    }
}

TEST(RecordedFrameTests, AProgramMayPaintLateWhatWasOffTheScreen) {
    ScreenStage stage;
    TestWindow slow(stage.server.displayName(), {.frame = {-60, 50, 120, 80}});
    slow.draw(test::plain(120, 80, 0x00ff00));
    std::thread program([&] {
        EXPECT_TRUE(slow.waitUntilExposed());
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        slow.draw(test::plain(120, 80, 0x0000ff));
    });
    stage.configuration.width = 120;
    stage.configuration.height = 80;
    stage.capture(SCContentFilter::desktopIndependent(numbered(slow)));
    EXPECT_EQ(stage.frames.seen().last, Picture(test::plain(120, 80, 0x0000ff))) << "the first frame";
    program.join();
}

}  // namespace
}  // namespace lumicrate::x11
