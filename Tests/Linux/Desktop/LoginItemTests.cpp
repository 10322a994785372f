#include "Linux/Desktop/LoginItem.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace lumicrate::desktop {
namespace {

class LoginItemTests : public testing::Test {
 protected:
    std::string contents() const {
        std::ostringstream text;
        text << std::ifstream(entry).rdbuf();
        return text.str();
    }

    test::TemporaryFolder home;
    std::filesystem::path entry = home / "autostart/lumicrate.desktop";
    LoginItem item{"/opt/Lumicrate/lumicrate", home / "autostart"};
};

TEST_F(LoginItemTests, AnEntryComesAndGoes) {
    EXPECT_FALSE(item.isEnabled());
    item.unregisterLoginItem();
    item.registerLoginItem();
    item.registerLoginItem();
    EXPECT_TRUE(item.isEnabled());
    EXPECT_EQ(contents(),
              "[Desktop Entry]\nType=Application\nName=Lumicrate\nIcon=lumicrate\n"
              "Exec=\"/opt/Lumicrate/lumicrate\" \"--background\"\n");
    item.unregisterLoginItem();
    EXPECT_FALSE(item.isEnabled());
    EXPECT_FALSE(std::filesystem::exists(entry));
}

TEST_F(LoginItemTests, WhatOthersMadeOfTheEntryCounts) {
    const std::pair<const char*, bool> cases[] = {
        {"[Desktop Entry]\nExec=lumicrate\n", true},
        {"[Desktop Entry]\nHidden = true\nExec=lumicrate\n", false},
        {"[Desktop Entry]\nHidden=false\nExec=lumicrate", true},
        {"[Desktop Entry]\nExec=lumicrate\n#Hidden=true\n[Other]\nHidden=true\n", true},
        {"[Desktop Entry]\nExec=lumicrate\nX-GNOME-Autostart-enabled=false\n", false},
        {"[Desktop Entry]\n", false},
        {"", false},
    };
    std::filesystem::create_directories(entry.parent_path());
    for (const auto& [text, enabled] : cases) {
        std::ofstream(entry, std::ios::trunc) << text;
        EXPECT_EQ(item.isEnabled(), enabled) << text;
        item.registerLoginItem();
        EXPECT_TRUE(item.isEnabled()) << text;
    }
}

TEST_F(LoginItemTests, AnyProgramIsStartedAsItsPathSays) {
    // The argument is quoted, and the line escaped once more as a string value.
    const std::pair<const char*, const char*> cases[] = {
        {"/a b/c", R"("/a b/c")"},
        {R"(/a"b`c$d\e%f)", R"("/a\\"b\\`c\\$d\\\\e%%f")"},
        {"/a\nb\tc", R"("/a\nb\tc")"},
    };
    for (const auto& [program, written] : cases) {
        LoginItem(program, home / "autostart").registerLoginItem();
        EXPECT_NE(contents().find("\nExec=" + std::string(written) + " \"--background\"\n"), std::string::npos)
            << contents();
    }
}

TEST_F(LoginItemTests, WhatCannotBeChangedIsSaid) {
    std::ofstream(home / "autostart") << "a file where the folder should be";
    EXPECT_THROW(item.registerLoginItem(), PlatformError);
    std::filesystem::remove(home / "autostart");
    std::filesystem::create_directories(entry / "a folder where the entry should be");
    EXPECT_THROW(item.registerLoginItem(), PlatformError);
    EXPECT_THROW(item.unregisterLoginItem(), PlatformError);
    EXPECT_FALSE(item.isEnabled());
}

}  // namespace
}  // namespace lumicrate::desktop
