#include "Tests/Linux/X11/ScreenStage.h"

#include <gtest/gtest.h>

namespace lumicrate::x11 {
namespace {

using test::Picture;
using test::ScreenStage;

TEST(LayoutChangeTests, TheSourceFollowsItsMonitor) {
    ScreenStage stage;
    for (int i = 0; i < 40; ++i)
        stage.painter.fill({i * 10, i * 7, 9, 5}, static_cast<std::uint32_t>(i * 0x061020));
    stage.painter.setMonitor("beamer", {200, 0, 203, 150});
    stage.configuration.width = 203;
    stage.configuration.height = 150;
    stage.capture("beamer");
    EXPECT_EQ(stage.frames.seen().last, stage.expected({200, 0, 203, 150}));

    stage.painter.deleteMonitor("beamer");
    stage.painter.setMonitor("beamer", {100, 50, 203, 150});
    EXPECT_TRUE(stage.frames.waitForPicture(stage.expected({100, 50, 203, 150})));

    // What is no longer there is black.
    stage.painter.resizeScreen(250, 301);
    stage.painter.fill({0, 0, 250, 301}, 0xffffff);
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return seen.last.y(149, 75) == 235 && seen.last.y(150, 75) == 16 && seen.last.y(202, 149) == 16;
    }));

    // Another shape is fitted into the same picture.
    stage.painter.deleteMonitor("beamer");
    stage.painter.setMonitor("beamer", {0, 0, 150, 150});
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return seen.last.y(25, 75) == 16 && seen.last.y(27, 75) == 235 && seen.last.y(177, 75) == 16;
    }));
    EXPECT_EQ(stage.frames.seen().violation, "");

    stage.painter.deleteMonitor("beamer");
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) { return !seen.failure.empty(); }));
    EXPECT_EQ(stage.frames.seen().failure, "The display is no longer available.");
}

TEST(LayoutChangeTests, AServerThatIsGoneEndsTheCapture) {
    ScreenStage stage;
    stage.capture();
    stage.server.kill();
    ASSERT_TRUE(stage.frames.waitUntil([](const auto& seen) { return !seen.failure.empty(); }));
    EXPECT_EQ(stage.frames.seen().failure, "The connection to the display server was lost.");
    EXPECT_EQ(stage.frames.seen().violation, "");
}

}  // namespace
}  // namespace lumicrate::x11
