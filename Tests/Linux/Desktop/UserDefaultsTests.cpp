// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/UserDefaults.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace lumicrate::desktop {
namespace {

class UserDefaultsTests : public testing::Test {
 protected:
    void writeFile(const std::string& lines) const { test::writeText(file, "[General]\n" + lines + "\n"); }
    void blockFolder() const {
        std::filesystem::remove_all(file.parent_path());
        test::writeText(file.parent_path(), "a file where the folder should be");
    }

    test::TemporaryFolder folder;
    std::filesystem::path file = folder / "Lumicrate/lumicrate.conf";
};

TEST_F(UserDefaultsTests, RegisteredValuesApplyUntilOneIsSetAndAreNeverWritten) {
    UserDefaults defaults(file);
    defaults.registerDefaults(
        {{"flag", true}, {"fps", std::int64_t{30}}, {"width", 200.0}, {"name", std::string("x")}});
    EXPECT_TRUE(defaults.boolForKey("flag"));
    EXPECT_EQ(defaults.integerForKey("fps"), 30);
    EXPECT_EQ(defaults.doubleForKey("width"), 200);
    EXPECT_EQ(defaults.stringForKey("name"), "x");
    EXPECT_EQ(defaults.stringForKey("other"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file));

    defaults.set("flag", false);
    defaults.set("name", std::string());
    EXPECT_FALSE(defaults.boolForKey("flag"));
    EXPECT_EQ(defaults.stringForKey("name"), "");
    defaults.removeObject("flag");
    EXPECT_TRUE(defaults.boolForKey("flag"));

    const UserDefaults other(file);
    EXPECT_EQ(other.stringForKey("fps"), std::nullopt);
    EXPECT_EQ(other.stringForKey("name"), "");
}

TEST_F(UserDefaultsTests, OtherInstancesShareTheFile) {
    const UserDefaults reader(file);
    EXPECT_EQ(reader.integerForKey("fps"), 0);
    const std::string rectangle = "{{10, 20}, {640, 480}}";
    const std::string json = R"({"keyCode":15,"modifiers":2304,"key":"↩"})";
    UserDefaults writer(file);
    writer.set("areaRect", rectangle);
    writer.set("shortcut.toggle", json);
    writer.set("webcamWidth", 123.25);
    writer.set("fps", std::int64_t{60});
    writer.set("countdown", true);
    EXPECT_EQ(reader.stringForKey("areaRect"), rectangle);
    EXPECT_EQ(reader.stringForKey("shortcut.toggle"), json);
    EXPECT_EQ(reader.doubleForKey("webcamWidth"), 123.25);
    EXPECT_EQ(reader.integerForKey("fps"), 60);
    EXPECT_TRUE(reader.boolForKey("countdown"));
    std::filesystem::remove(file);
    EXPECT_EQ(reader.integerForKey("fps"), 0);
}

TEST_F(UserDefaultsTests, ConvertsHandWrittenValuesAndSkipsMalformedLines) {
    writeFile("a=yes\nb=no\nc=1\nd=0\nwhat is this\ne=30.9\nf=abc\ng=1e300\nh={{10, 20}, {640, 480}}");
    UserDefaults defaults(file);
    defaults.set("countdown", true);
    const UserDefaults other(file);
    EXPECT_TRUE(other.boolForKey("countdown"));
    EXPECT_TRUE(other.boolForKey("a"));
    EXPECT_FALSE(other.boolForKey("b"));
    EXPECT_TRUE(other.boolForKey("c"));
    EXPECT_FALSE(other.boolForKey("d"));
    EXPECT_EQ(other.integerForKey("e"), 30);
    EXPECT_EQ(other.integerForKey("f"), 0);
    EXPECT_EQ(other.doubleForKey("f"), 0);
    EXPECT_FALSE(other.boolForKey("f"));
    EXPECT_EQ(other.integerForKey("g"), 0);
    EXPECT_EQ(other.stringForKey("h"), "{{10, 20}, {640, 480}}");
    // A malformed line does not hide a later error.
    blockFolder();
    EXPECT_THROW(defaults.set("flag", true), PlatformError);
}

TEST_F(UserDefaultsTests, AFailedWriteIsReportedAndUndone) {
    blockFolder();
    UserDefaults defaults(file);
    defaults.registerDefaults({{"flag", true}});
    int changes = 0;
    const Subscription subscription = defaults.observe([&] { ++changes; });
    for (int i = 0; i < 2; ++i) {
        try {
            defaults.set("flag", false);
            FAIL();
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.what(), "The settings file couldn't be written: " + file.string());
        }
        EXPECT_TRUE(defaults.boolForKey("flag"));
    }
    EXPECT_EQ(changes, 0);
    std::filesystem::remove(file.parent_path());
    defaults.set("fps", std::int64_t{24});
    EXPECT_EQ(changes, 1);
    const UserDefaults other(file);
    EXPECT_EQ(other.integerForKey("fps"), 24);
    EXPECT_EQ(other.stringForKey("flag"), std::nullopt);
}

}  // namespace
}  // namespace lumicrate::desktop
