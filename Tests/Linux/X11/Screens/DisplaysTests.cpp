#include "Linux/X11/Capture/ScreenSource.h"
#include "Linux/X11/Screens/Displays.h"
#include "Tests/Linux/X11/Painter.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

namespace lumicrate::x11 {
namespace {

std::string sentenceOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const PlatformError& error) {
        return error.what();
    }
    return "no error";
}

TEST(DisplaysTests, MonitorsAreDisplaysInPointsWithConstantIds) {
    const stage::Xvfb server({.width = 800, .height = 600});
    const Displays displays(server.displayName(), 2);
    const auto all = displays.displays();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].frame, (Rect{0, 0, 400, 300}));
    EXPECT_EQ(all[0].pointPixelScale, 2);
    EXPECT_NE(all[0].displayID, 0U);
    EXPECT_FALSE(all[0].localizedName.empty());
    EXPECT_EQ(displays.mainDisplayID(), all[0].displayID);
    EXPECT_EQ(displays.bounds(all[0].displayID), all[0].frame);
    EXPECT_TRUE(displays.bounds(all[0].displayID + 1).isEmpty());

    test::Painter painter(server.displayName());
    painter.setMonitor("left", {0, 0, 300, 600});
    painter.setMonitor("right", {300, 0, 500, 600});
    const auto find = [&](const std::string& name) {
        for (const SCDisplay& each : displays.displays())
            if (each.localizedName == name) return each;
        return SCDisplay{};
    };
    const SCDisplay right = find("right");
    EXPECT_EQ(find("left").frame, (Rect{0, 0, 150, 300}));
    EXPECT_EQ(right.frame, (Rect{150, 0, 250, 300}));
    EXPECT_NE(right.displayID, find("left").displayID);

    painter.deleteMonitor("right");
    EXPECT_EQ(find("right").displayID, 0U);
    painter.setMonitor("right", {400, 0, 400, 600});
    EXPECT_EQ(find("right").displayID, right.displayID);
}

TEST(DisplaysTests, FailuresAreSentences) {
    const auto startError = [](const std::string& displayName, std::uint32_t displayID) {
        SCDisplay display;
        display.displayID = displayID;
        ScreenSource source(displayName, SCContentFilter::excludingWindows(display, {}), {});
        return sentenceOf([&] {
            source.start({[](const auto&) {}, [](const auto&) {}, [](const auto&) {}});
        });
    };
    EXPECT_EQ(sentenceOf([] { Displays(":4711"); }), "No display server can be reached.");
    EXPECT_EQ(startError(":4711", 0), "No display server can be reached.");
    const stage::Xvfb server({.width = 64, .height = 64});
    EXPECT_EQ(startError(server.displayName(), 9999), "The display is no longer available.");
}

}  // namespace
}  // namespace lumicrate::x11
