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
    stage.painter.fill({0, 0, 403, 301}, 0xffffff);
    stage.painter.resizeScreen(250, 301);
    EXPECT_TRUE(stage.frames.waitUntil([](const auto& seen) {
        return seen.last.y(149, 75) == 235 && seen.last.y(150, 75) == 16 && seen.last.y(202, 149) == 16;
    }));

    { const auto se=stage.frames.seen(); fprintf(stderr,"DBG fail='%s' frames %zu w %d  %d %d %d\n", se.failure.c_str(), se.complete.size(), se.last.width, se.last.y(149,75), se.last.y(150,75), se.last.y(202,149));
      xcb_get_geometry_reply_t* g=xcb_get_geometry_reply(stage.painter.connection(), xcb_get_geometry(stage.painter.connection(), stage.painter.root()),nullptr); fprintf(stderr,"root %d %d\n", g->width,g->height); for(auto&d: Displays(stage.server.displayName()).displays()) fprintf(stderr,"%s %g %g %g %g\n", d.localizedName.c_str(), d.frame.x,d.frame.y,d.frame.width,d.frame.height);}
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
