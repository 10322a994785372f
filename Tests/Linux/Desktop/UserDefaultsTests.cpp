#include "Linux/Desktop/UserDefaults.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace lumicrate::desktop {
namespace {

class UserDefaultsTests : public testing::Test {
 protected:
    void writeFile(const std::string& lines) const {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "[General]\n" << lines << "\n";
    }

    test::TemporaryFolder folder;
    std::filesystem::path file = folder / "Lumicrate/lumicrate.conf";
};

TEST_F(UserDefaultsTests, RegisteredValuesAnswerUntilTheUserSetsOneAndAreNeverWritten) {
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

TEST_F(UserDefaultsTests, AnotherStoreReadsWhatWasWritten) {
    const std::string rectangle = "{{10, 20}, {640, 480}}";
    const std::string json = R"({"keyCode":15,"modifiers":2304,"key":"↩"})";
    {
        UserDefaults defaults(file);
        defaults.set("areaRect", rectangle);
        defaults.set("shortcut.toggle", json);
        defaults.set("webcamWidth", 123.25);
        defaults.set("fps", std::int64_t{60});
        defaults.set("countdown", false);
    }
    const UserDefaults defaults(file);
    EXPECT_EQ(defaults.stringForKey("areaRect"), rectangle);
    EXPECT_EQ(defaults.stringForKey("shortcut.toggle"), json);
    EXPECT_EQ(defaults.doubleForKey("webcamWidth"), 123.25);
    EXPECT_EQ(defaults.integerForKey("fps"), 60);
    EXPECT_FALSE(defaults.boolForKey("countdown"));
}

TEST_F(UserDefaultsTests, ValuesOfAnotherTypeAreConvertedOrEmpty) {
    writeFile("a=yes\nb=no\nc=1\nd=0\ne=30.9\nf=abc\ng=1e300\nh={{10, 20}, {640, 480}}");
    const UserDefaults defaults(file);
    EXPECT_TRUE(defaults.boolForKey("a"));
    EXPECT_FALSE(defaults.boolForKey("b"));
    EXPECT_TRUE(defaults.boolForKey("c"));
    EXPECT_FALSE(defaults.boolForKey("d"));
    EXPECT_EQ(defaults.integerForKey("e"), 30);
    EXPECT_EQ(defaults.integerForKey("f"), 0);
    EXPECT_EQ(defaults.doubleForKey("f"), 0);
    EXPECT_FALSE(defaults.boolForKey("f"));
    EXPECT_EQ(defaults.integerForKey("g"), 0);
    EXPECT_EQ(defaults.stringForKey("h"), "{{10, 20}, {640, 480}}");
}

TEST_F(UserDefaultsTests, WhatCannotBeWrittenIsSaidAndDoesNotCount) {
    std::ofstream(folder / "Lumicrate") << "a file where the folder should be";
    UserDefaults defaults(file);
    defaults.registerDefaults({{"flag", true}});
    int told = 0;
    const Subscription subscription = defaults.observe([&] { ++told; });
    for (int i = 0; i < 2; ++i) {
        try {
            defaults.set("flag", false);
            FAIL();
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.what(), "The settings file couldn't be written: " + file.string());
        }
        EXPECT_TRUE(defaults.boolForKey("flag"));
    }
    EXPECT_EQ(told, 0);
    std::filesystem::remove(folder / "Lumicrate");
    defaults.set("fps", std::int64_t{24});
    EXPECT_EQ(told, 1);
    const UserDefaults other(file);
    EXPECT_EQ(other.integerForKey("fps"), 24);
    EXPECT_EQ(other.stringForKey("flag"), std::nullopt);
}

TEST_F(UserDefaultsTests, WhatOthersWroteIsRead) {
    const UserDefaults defaults(file);
    EXPECT_EQ(defaults.integerForKey("fps"), 0);
    writeFile("fps=24");
    EXPECT_EQ(defaults.integerForKey("fps"), 24);
    UserDefaults(file).set("fps", std::int64_t{60});
    EXPECT_EQ(defaults.integerForKey("fps"), 60);
    std::filesystem::remove(file);
    EXPECT_EQ(defaults.integerForKey("fps"), 0);
}

TEST_F(UserDefaultsTests, ALineThatMakesNoSenseIsNoObstacle) {
    writeFile("what is this\nfps=24");
    UserDefaults defaults(file);
    EXPECT_EQ(defaults.integerForKey("fps"), 24);
    defaults.set("countdown", true);
    defaults.set("fps", std::int64_t{60});
    const UserDefaults other(file);
    EXPECT_TRUE(other.boolForKey("countdown"));
    EXPECT_EQ(other.integerForKey("fps"), 60);

    // Nor does it hide that something cannot be written.
    writeFile("what is this");
    UserDefaults late(file);
    std::filesystem::remove_all(file.parent_path());
    std::ofstream(folder / "Lumicrate") << "a file where the folder should be";
    EXPECT_THROW(late.set("flag", true), PlatformError);
}

}  // namespace
}  // namespace lumicrate::desktop
