// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/UserDefaults.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::desktop {
namespace {

class UserDefaultsTests : public testing::Test {
 protected:
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
    UserDefaults writer(file);
    writer.set("webcamWidth", 123.25);
    writer.set("fps", std::int64_t{60});
    writer.set("countdown", true);
    EXPECT_EQ(reader.doubleForKey("webcamWidth"), 123.25);
    EXPECT_EQ(reader.integerForKey("fps"), 60);
    EXPECT_TRUE(reader.boolForKey("countdown"));
    for (const std::string text :
         {"{{10, 20}, {640, 480}}", R"({"keyCode":15,"modifiers":2304,"key":"↩"})"}) {
        writer.set("text", text);
        EXPECT_EQ(reader.stringForKey("text"), text);
    }
    std::filesystem::remove(file);
    EXPECT_EQ(reader.integerForKey("fps"), 0);
}

TEST_F(UserDefaultsTests, ConvertsHandWrittenValuesAndSkipsMalformedLines) {
    test::writeText(file,
                    "[General]\na=yes\nb=no\nc=1\nd=0\nwhat is this\ne=30.9\nf=abc\ng=1e300\n"
                    "h={{10, 20}, {640, 480}}\n");
    UserDefaults defaults(file);
    defaults.set("countdown", true);
    const UserDefaults other(file);
    for (const auto& [key, isTrue] :
         {std::pair{"countdown", true}, {"a", true}, {"b", false}, {"c", true}, {"d", false}, {"f", false}})
        EXPECT_EQ(other.boolForKey(key), isTrue) << key;
    for (const auto& [key, number] : {std::pair{"e", 30}, {"f", 0}, {"g", 0}})
        EXPECT_EQ(other.integerForKey(key), number) << key;
    EXPECT_EQ(other.doubleForKey("f"), 0);
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
        EXPECT_THAT(
            [&] { defaults.set("flag", false); },
            testing::ThrowsMessage<PlatformError>("The settings file couldn't be written: " + file.string()));
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
