#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Xcb.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace lumicrate::stage {

namespace {

TEST(Desktop, standsAndGoesWithoutATrace) {
    const std::string homeBefore = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    std::filesystem::path folder;
    std::string display;
    {
        PrivateDesktop::Options options;
        options.display = {800, 600, true, true};
        options.sound = false;
        PrivateDesktop desktop(options);
        const Xvfb second;
        folder = desktop.session().folder();
        display = desktop.display().displayName();
        EXPECT_NE(display, second.displayName());
        EXPECT_EQ(std::getenv("DISPLAY"), display);
        const XcbConnection connection(display);
        EXPECT_EQ(connection.screen()->width_in_pixels, 800);
        EXPECT_EQ(connection.screen()->height_in_pixels, 600);
        EXPECT_EQ(std::getenv("HOME"), (folder / "home").string());
        desktop.display().stopCompositor();
        desktop.display().startCompositor();
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_EQ(std::getenv("HOME"), homeBefore);
    EXPECT_THROW(XcbConnection{display}, std::runtime_error);
}

TEST(Desktop, hasSoundDevicesThatComeAndGo) {
    SoundServer sound;
    EXPECT_EQ(sound.pactl({"get-default-sink"}), "spk\n");
    EXPECT_EQ(sound.pactl({"get-default-source"}), "mic\n");
    const auto other = sound.addMicrophone("other", "Other microphone");
    EXPECT_NE(sound.pactl({"list", "sources"}).find("Other microphone"), std::string::npos);
    sound.unloadModule(other.source);
    EXPECT_NO_THROW(sound.awaitDevice("sources", "other", false));
    sound.kill();
    EXPECT_THROW(sound.pactl({"info"}), std::runtime_error);
}

}  // namespace

}  // namespace lumicrate::stage
