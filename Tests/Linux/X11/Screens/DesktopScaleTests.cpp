#include "Linux/X11/Screens/DesktopScale.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A settings property with a text, a colour and the resolution, as settings managers write it.
Bytes settingsWith(std::int32_t dpi, bool bigEndian = false) {
    Bytes bytes;
    const auto number = [&](std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i)));
    };
    const auto text = [&](std::string_view characters) {
        bytes.insert(bytes.end(), characters.begin(), characters.end());
        bytes.resize((bytes.size() + 3) / 4 * 4);
    };
    const auto setting = [&](std::uint32_t type, std::string_view name) {
        number(type, 1);
        number(0, 1);
        number(name.size(), 2);
        text(name);
        number(1, 4);
    };
    bytes = {std::uint8_t(bigEndian ? 1 : 0), 0, 0, 0};
    number(7, 4);
    number(3, 4);
    setting(1, "Net/ThemeName");
    number(5, 4);
    text("Plain");
    setting(2, "Gtk/Colour");
    number(0, 8);
    setting(0, "Xft/DPI");
    number(static_cast<std::uint32_t>(dpi), 4);
    return bytes;
}

TEST(DesktopScaleTests, SettingsAreReadInBothByteOrders) {
    for (const bool bigEndian : {false, true}) {
        const Bytes settings = settingsWith(144 * 1024, bigEndian);
        EXPECT_EQ(dpiFromSettings(settings), 144);
        // Truncated settings are invalid.
        for (std::size_t length = 0; length < settings.size(); ++length)
            EXPECT_EQ(dpiFromSettings(std::span(settings).first(length)), std::nullopt) << length;
    }
    EXPECT_EQ(dpiFromSettings(settingsWith(-1)), std::nullopt);
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
    test::setProperty(manager, manager.id(), "_XSETTINGS_SETTINGS", "_XSETTINGS_SETTINGS",
                      settingsWith(144 * 1024));
    EXPECT_EQ(desktopScale(connection), 4);
    const auto selection = stage::internAtom(manager.connection(), "_XSETTINGS_S0");
    xcb_set_selection_owner(manager.connection(), manager.id(), selection, XCB_CURRENT_TIME);
    manager.sync();
    EXPECT_EQ(desktopScale(connection), 1.5);
}

}  // namespace
}  // namespace lumicrate::x11
