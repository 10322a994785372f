// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/ScreenSource.h"
#include "Linux/X11/Screens/DesktopScale.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Screens/Edid.h"
#include "Support/DisplayNames.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {
namespace {

using Bytes = std::vector<std::uint8_t>;
using namespace std::string_view_literals;
using testing::ThrowsMessage;

/// Settings properties with a text, a colour and a resolution of 144 dots per inch, as settings managers
/// write them.
constexpr std::string_view littleEndian =
    "\0\0\0\0\7\0\0\0\3\0\0\0"
    "\1\0\x0d\0Net/ThemeName\0\0\0\1\0\0\0\5\0\0\0Plain\0\0\0"
    "\2\0\x0a\0Gtk/Colour\0\0\1\0\0\0\0\0\0\0\0\0\0\0"
    "\0\0\7\0Xft/DPI\0\1\0\0\0\0\x40\2\0"sv;
constexpr std::string_view bigEndian =
    "\1\0\0\0\0\0\0\7\0\0\0\3"
    "\1\0\0\x0dNet/ThemeName\0\0\0\0\0\0\1\0\0\0\5Plain\0\0\0"
    "\2\0\0\x0aGtk/Colour\0\0\0\0\0\1\0\0\0\0\0\0\0\0"
    "\0\0\0\7Xft/DPI\0\0\0\0\1\0\2\x40\0"sv;

TEST(DesktopScaleTests, SettingsAreReadInBothByteOrders) {
    for (const std::string_view text : {littleEndian, bigEndian}) {
        Bytes settings(text.begin(), text.end());
        EXPECT_EQ(dpiFromSettings(settings), 144);
        // Truncated settings are invalid.
        for (std::size_t length = 0; length < settings.size(); ++length)
            EXPECT_EQ(dpiFromSettings(std::span(settings).first(length)), std::nullopt) << length;
        std::fill(settings.end() - 4, settings.end(), 0xff);
        EXPECT_EQ(dpiFromSettings(settings), std::nullopt) << "-1";
    }
    EXPECT_EQ(dpiFromSettings(Bytes(64, 0xff)), std::nullopt);
}

TEST(DesktopScaleTests, ResourcesAreReadLineByLine) {
    const std::pair<const char*, std::optional<double>> cases[] = {
        {"Xft.dpi:\t192\n", 192},
        {"Xft.antialias: 1\nXft.dpi: 120.5", 120.5},
        {"Xft.dpi: 96\nXft.dpi: 144\n", 144},
        {"", std::nullopt},
        {"Xft.dpi:", std::nullopt},
        {"Xft.dpi:\nxterm: 144", std::nullopt},
        {"Xft.dpi: many\nMyXft.dpi: 144\n!Xft.dpi: 144", std::nullopt},
        {"Xft.dpi: 0", std::nullopt},
        {"Xft.dpi: nan", std::nullopt},
    };
    for (const auto& [text, dpi] : cases)
        EXPECT_EQ(dpiFromResources(text), dpi) << text;
}

TEST(DesktopScaleTests, LiveSettingsOverrideResources) {
    const stage::Xvfb server({.width = 64, .height = 64});
    const Connection connection(server.displayName());
    EXPECT_EQ(desktopScale(connection), 1);
    const auto merge = [&](const std::string& dpi) {
        stage::runProgram({"sh", "-c", "echo Xft.dpi: " + dpi + " | xrdb -nocpp -merge"},
                          {{"DISPLAY", server.displayName()}, {"XAUTHORITY", std::nullopt}});
        return desktopScale(connection);
    };
    EXPECT_EQ(merge("192"), 2);
    EXPECT_EQ(merge("72"), 1);
    EXPECT_EQ(merge("960"), 4);

    test::TestWindow manager(server.displayName(), {.frame = {0, 0, 9, 9}});
    manager.setProperty("_XSETTINGS_SETTINGS", "_XSETTINGS_SETTINGS", littleEndian);
    EXPECT_EQ(desktopScale(connection), 4);
    manager.sync(xcb_set_selection_owner(manager.connection().get(), manager.id(),
                                         connection.internAtom("_XSETTINGS_S0"), XCB_CURRENT_TIME));
    EXPECT_EQ(desktopScale(connection), 1.5);
}

/// The base block of an EDID of the maker "DEL", with this text as the descriptor of this kind.
Bytes edid(std::string_view text, std::uint8_t kind = 0xfc) {
    Bytes bytes(128);
    std::fill(bytes.begin() + 1, bytes.begin() + 7, 0xff);
    bytes[8] = 0x10;
    bytes[9] = 0xac;
    bytes[54] = 1;  // a timing
    bytes[72 + 3] = kind;
    std::ranges::copy(text.substr(0, 13), bytes.begin() + 72 + 5);
    return bytes;
}

TEST(DisplayNamesTests, TheModelIsReadFromAnyBytes) {
    const std::pair<Bytes, std::optional<std::string>> cases[] = {
        {edid("DELL U2723QE\n"), "DELL U2723QE"},      {edid("  HP\x80 24 \x1b   \n"), "HP 24"},
        {edid("ThirteenChars"), "ThirteenChars"},      {edid("\n"), "DEL Display"},
        {edid("a serial no.\n", 0xff), "DEL Display"}, {Bytes(128, 0xff), std::nullopt},
    };
    for (const auto& [bytes, name] : cases)
        EXPECT_EQ(nameFromEdid(bytes), name);
    const Bytes whole = edid("Model");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(nameFromEdid(Bytes(whole.begin(), whole.begin() + length)), std::nullopt) << length;
}

TEST(DisplayNamesTests, AreDifferent) {
    const std::vector<NamedDisplay> displays{
        {"eDP-1", "LP140WF6"}, {"DP-1", "Same"}, {"DP-2", "Same"}, {"HDMI-1", {}}};
    EXPECT_THAT(displayNames(displays),
                testing::ElementsAre("Built-in Display", "Same (DP-1)", "Same (DP-2)", "HDMI-1"));
}

TEST(DisplaysTests, AreNamedAfterTheirModel) {
    const stage::Xvfb server({.width = 64, .height = 64});
    const Displays displays(server.displayName());
    const Connection connection(server.displayName());
    const Bytes bytes = edid("DELL U2723QE\n");
    xcb_randr_change_output_property(
        connection.get(), findMonitor(connection, displays.mainDisplayID())->output,
        connection.internAtom("EDID"), XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
        static_cast<std::uint32_t>(bytes.size()), bytes.data());
    connection.sync();
    EXPECT_EQ(displays.displays().at(0).localizedName, "DELL U2723QE");
    EXPECT_NE(displays.displays().at(0).connector, "DELL U2723QE");
}

TEST(DisplaysTests, MonitorsAreDisplaysInPointsWithConstantIds) {
    const stage::Xvfb server({.width = 800, .height = 600});
    const Displays displays(server.displayName(), 2);
    const SCDisplay only = displays.displays().at(0);
    EXPECT_EQ(only.frame, (Rect{0, 0, 400, 300}));
    EXPECT_EQ(only.pointPixelScale, 2);
    EXPECT_NE(only.displayID, 0U);
    EXPECT_FALSE(only.localizedName.empty());
    EXPECT_EQ(displays.mainDisplayID(), only.displayID);
    EXPECT_EQ(displays.bounds(only.displayID), only.frame);
    EXPECT_TRUE(displays.bounds(only.displayID + 1).isEmpty());

    test::ScreenPainter painter(server.displayName());
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
    const auto start = [](const std::string& displayName) {
        SCDisplay display;
        display.displayID = 9999;
        ScreenSource source(displayName, SCContentFilter::excludingWindows(display, {}), {});
        source.start({});
    };
    EXPECT_THAT([] { Displays(":4711"); }, ThrowsMessage<PlatformError>("No display server can be reached."));
    EXPECT_THAT([&] { start(":4711"); }, ThrowsMessage<PlatformError>("No display server can be reached."));
    const stage::Xvfb server({.width = 64, .height = 64});
    EXPECT_THAT([&] { start(server.displayName()); },
                ThrowsMessage<PlatformError>("The display is no longer available."));
}

}  // namespace
}  // namespace lumicrate::x11
