// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/LoginItem.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace lumicrate::desktop {
namespace {

class LoginItemTests : public testing::Test {
 protected:
    test::TemporaryFolder home;
    std::filesystem::path entry = home / "autostart/lumicrate.desktop";
    LoginItem item{"/opt/Lumicrate/lumicrate", home / "autostart"};
};

TEST_F(LoginItemTests, WritesAndRemovesTheEntry) {
    EXPECT_FALSE(item.isEnabled());
    item.unregisterLoginItem();
    // Arguments are quoted, and the line is escaped once more as a string value.
    const std::pair<const char*, const char*> programs[] = {
        {"/opt/Lumicrate/lumicrate", R"("/opt/Lumicrate/lumicrate")"},
        {"/a b/c", R"("/a b/c")"},
        {R"(/a"b`c$d\e%f)", R"("/a\\"b\\`c\\$d\\\\e%%f")"},
        {"/a\nb\tc\rd", R"("/a\nb\tc\rd")"},
    };
    for (const auto& [program, written] : programs) {
        LoginItem(program, home / "autostart").registerLoginItem();
        EXPECT_TRUE(item.isEnabled());
        EXPECT_EQ(test::readText(entry),
                  "[Desktop Entry]\nType=Application\nName=Lumicrate\nIcon=lumicrate\nExec=" +
                      std::string(written) + " \"--background\"\n");
    }
    item.unregisterLoginItem();
    EXPECT_FALSE(item.isEnabled());
    EXPECT_FALSE(std::filesystem::exists(entry));
}

TEST_F(LoginItemTests, RespectsChangesByOtherPrograms) {
    const std::pair<const char*, bool> cases[] = {
        {"[Desktop Entry]\nExec=lumicrate\n", true},
        {"[Desktop Entry]\nHidden = true\nExec=lumicrate\n", false},
        {"[Desktop Entry]\nHidden=false\nExec=lumicrate", true},
        {"[Desktop Entry]\nExec=lumicrate\n#Hidden=true\n[Other]\nHidden=true\n", true},
        {"[Desktop Entry]\nExec=lumicrate\nX-GNOME-Autostart-enabled=false\n", false},
        {"[Desktop Entry]\n", false},
        {"", false},
    };
    for (const auto& [text, enabled] : cases) {
        test::writeText(entry, text);
        EXPECT_EQ(item.isEnabled(), enabled) << text;
        item.registerLoginItem();
        EXPECT_TRUE(item.isEnabled()) << text;
    }
}

TEST_F(LoginItemTests, ReportsWhatCannotBeChanged) {
    test::writeText(home / "autostart", "a file where the folder should be");
    EXPECT_THROW(item.registerLoginItem(), PlatformError);
    std::filesystem::remove(home / "autostart");
    std::filesystem::create_directories(entry / "a folder where the entry should be");
    EXPECT_THROW(item.registerLoginItem(), PlatformError);
    EXPECT_THROW(item.unregisterLoginItem(), PlatformError);
    EXPECT_FALSE(item.isEnabled());
}

}  // namespace
}  // namespace lumicrate::desktop
