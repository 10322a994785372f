// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Wayland/Outputs.h"
#include "Support/Error.h"
#include "Tests/Stage/Wayland/Mutter.h"
#include "Tests/Stage/WaylandDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace lumicrate::wayland {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

/// Name, frame, scale and pixels of each, in a line.
std::vector<std::string> summaries(Outputs& outputs) {
    std::vector<std::string> lines;
    for (const Output& each : outputs.outputs()) {
        std::ostringstream line;
        line << each.name << " " << each.frame.x << "," << each.frame.y << " " << each.frame.width << "x"
             << each.frame.height << " @" << each.scale() << " " << each.pixels.width << "x"
             << each.pixels.height;
        lines.push_back(line.str());
    }
    return lines;
}

TEST(OutputsTests, FollowAnyLayout) {
    if (const auto missing = stage::WaylandDesktop::missingPrograms(); !missing.empty())
        GTEST_SKIP() << missing;
    stage::WaylandDesktop desktop(
        {.compositor = {.outputs = {{1280, 720, 2}, {1920, 1080, 1}}}, .sound = false, .portal = false});
    auto& sway = desktop.compositor();
    Outputs outputs;
    EXPECT_THAT(summaries(outputs),
                ElementsAre("HEADLESS-1 0,0 640x360 @2 1280x720", "HEADLESS-2 640,0 1920x1080 @1 1920x1080"));

    const std::vector<SCDisplay> displays = outputs.displays();
    EXPECT_EQ(displays.at(0).displayID, displayIDOf("HEADLESS-1"));
    EXPECT_EQ(displays.at(0).frame, (Rect{0, 0, 640, 360}));
    EXPECT_EQ(displays.at(0).pointPixelScale, 2);
    EXPECT_EQ(displays.at(1).connector, "HEADLESS-2");
    EXPECT_NE(displays.at(0).localizedName, displays.at(1).localizedName);
    EXPECT_EQ(outputs.mainDisplayID(), displays.at(0).displayID);
    EXPECT_EQ(outputs.bounds(displays.at(1).displayID), displays.at(1).frame);

    // Each change appears with the next query.
    sway.command({"output", "HEADLESS-1", "scale", "1.25", "transform", "90"});
    sway.command({"output", "HEADLESS-2", "position", "-1920", "0"});
    EXPECT_EQ(sway.addOutput({800, 600, 1}), "HEADLESS-3");
    EXPECT_THAT(summaries(outputs), ElementsAre("HEADLESS-1 0,0 576x1024 @1.25 720x1280",
                                                "HEADLESS-2 -1920,0 1920x1080 @1 1920x1080",
                                                "HEADLESS-3 576,0 800x600 @1 800x600"));
    EXPECT_EQ(outputs.displays().at(0).displayID, displays.at(0).displayID);
    sway.removeLastOutput();
    EXPECT_THAT(outputs.displays(), testing::SizeIs(2));
    EXPECT_TRUE(outputs.bounds(displayIDOf("HEADLESS-3")).isEmpty());
}

TEST(OutputsTests, AreThoseOfGnomesCompositor) {
    if (!stage::Mutter::isInstalled()) GTEST_SKIP() << "mutter is not installed.";
    const auto session = std::make_shared<stage::Session>();
    const stage::SoundServer sound(session);
    const stage::Mutter mutter(session, {.monitors = {{1280, 720}, {800, 600}}});
    Outputs outputs(mutter.displayName());
    EXPECT_THAT(summaries(outputs),
                ElementsAre("Meta-0 0,0 1280x720 @1 1280x720", "Meta-1 1280,0 800x600 @1 800x600"));
}

TEST(OutputsTests, FailuresAreSentences) {
    if (!stage::Sway::isInstalled()) GTEST_SKIP() << "sway is not installed.";
    EXPECT_THAT([] { Outputs("wayland-4711"); },
                ThrowsMessage<PlatformError>("No display server can be reached."));
    stage::WaylandDesktop desktop({.compositor = {.xwayland = false}, .sound = false, .portal = false});
    Outputs outputs({}, std::chrono::milliseconds(200));
    kill(desktop.compositor().processId(), SIGSTOP);
    EXPECT_THAT([&] { outputs.displays(); },
                ThrowsMessage<PlatformError>("The display server does not answer."));
    EXPECT_THROW(Outputs({}, std::chrono::milliseconds(200)), PlatformError);
    desktop.compositor().kill();
    EXPECT_THAT([&] { outputs.displays(); },
                ThrowsMessage<PlatformError>("No display server can be reached."));
}

}  // namespace
}  // namespace lumicrate::wayland
