#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Settings/SettingsModel.h"
#include "Lumicrate/Library/FileNames.h"
#include "Lumicrate/Shell/Permissions.h"
#include "Lumicrate/Shell/Welcome.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Settings/SettingsFakes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class SettingsModelTests : public testing::Test {
 protected:
    SettingsModelTests() { RecordingOptions::registerDefaults(defaults); }

    FakeDefaults defaults;
    FakeHotKeys hotKeys;
    HotKeyCenter center{hotKeys};
    FakeKeyMonitoring keys;
    FakeLoginService login;
    Published<std::vector<CaptureDevice>> microphones;
    Published<std::vector<std::string>> unavailable;
    SettingsModel view{{{defaults, center, keys, [] {}, [] {}},
                        login,
                        microphones,
                        unavailable,
                        "/home/me/Videos/Lumicrate",
                        "/home/me",
                        [] { throw PlatformError("There is no file viewer."); }}};
};

TEST_F(SettingsModelTests, EverySettingReadsAndOffersWhatRecordingsUnderstand) {
    for (const ChoiceSetting& setting : {SettingsModel::quality(), SettingsModel::framesPerSecond(),
                                         SettingsModel::format(), SettingsModel::encodingQuality()}) {
        defaults.stored.clear();
        EXPECT_EQ(defaults.registered.at(setting.key), setting.fallback) << setting.key;
        std::vector<RecordingOptions> outcomes;
        for (const auto& [value, label] : setting.choices) {
            defaults.set(setting.key, value);
            EXPECT_THAT(outcomes, testing::Not(testing::Contains(RecordingOptions::current(defaults))))
                << setting.key << ": " << label << " makes no difference";
            outcomes.push_back(RecordingOptions::current(defaults));
        }
    }
    for (const SwitchSetting& setting :
         {SettingsModel::countdown(), SettingsModel::hideSelf(), SettingsModel::showCursor(),
          SettingsModel::highlightClicks(), SettingsModel::captureSystemAudio(),
          SettingsModel::captureMicrophone(), SettingsModel::mixAudio()})
        EXPECT_TRUE(std::holds_alternative<bool>(defaults.registered.at(setting.key))) << setting.key;
}

TEST_F(SettingsModelTests, MicrophonesComeAndGoAndTheChosenOneStays) {
    EXPECT_THAT(*view.microphones, ElementsAre(Pair(DefaultsValue(std::string()), "System default")));
    microphones = std::vector<CaptureDevice>{{"usb", "Desk"}, {"card", "Built-in"}};
    defaults.set("microphoneID", std::string("usb"));
    EXPECT_THAT(*view.microphones, SizeIs(3));
    microphones = std::vector<CaptureDevice>{{"card", "Built-in"}};
    EXPECT_THAT(view.microphone().choices,
                ElementsAre(testing::_, Pair(testing::_, "Built-in"),
                            Pair(DefaultsValue(std::string("usb")), "A microphone that is not connected")));
    defaults.set("microphoneID", std::string("card"));
    EXPECT_THAT(*view.microphones, SizeIs(2));
}

TEST_F(SettingsModelTests, SaysWhatIsTakenAndWhatFails) {
    EXPECT_EQ(*view.unavailableText, "");
    unavailable = std::vector<std::string>{"⌥⌘R", "⌥⌘A"};
    EXPECT_EQ(*view.unavailableText, "Another app is using ⌥⌘R, ⌥⌘A. Pick a different shortcut.");
    EXPECT_EQ(view.recordingsFolder(), "~/Videos/Lumicrate");
    EXPECT_EQ(view.openRecordingsFolder(), "There is no file viewer.");

    login.refuses = true;
    view.loginItem.set(true);
    EXPECT_FALSE(*view.loginItem.enabled);
    EXPECT_EQ(*view.loginItem.error, "The autostart entry can't be written.");
    login.refuses = false;
    view.loginItem.set(true);
    EXPECT_TRUE(*view.loginItem.enabled);
    EXPECT_EQ(*view.loginItem.error, "");
}

TEST_F(SettingsModelTests, PathsAreWrittenAsPeopleDo) {
    for (const auto& [path, home, written] :
         std::vector<std::array<const char*, 3>>{{"/home/me/Videos", "/home/me", "~/Videos"},
                                                 {"/home/me", "/home/me/", "~"},
                                                 {"/home/meg/Videos", "/home/me", "/home/meg/Videos"},
                                                 {"/data/x", "/home/me", "/data/x"},
                                                 {"/data/x", "", "/data/x"}})
        EXPECT_EQ(displayPath(path, home), written);
}

TEST_F(SettingsModelTests, TheWelcomeIsShownOnceWithTheShortcutOfNow) {
    Welcome welcome(defaults, login, "/data/Lumicrate", "/home/me");
    EXPECT_TRUE(Welcome::isDue(defaults));
    EXPECT_THAT(welcome.points()[1].text, HasSubstr("Alt+Super+R (⌥⌘R)"));
    save(ShortcutAction::toggle, std::nullopt, defaults);
    EXPECT_THAT(welcome.points()[1].text, HasSubstr("turned off"));
    defaults.readOnly = true;
    welcome.finish();
    EXPECT_TRUE(Welcome::isDue(defaults));
    defaults.readOnly = false;
    welcome.finish();
    EXPECT_FALSE(Welcome::isDue(defaults));
}

TEST(PermissionsTests, SayWhatIsMissingUntilItIsThere) {
    int looks = 0;
    Permissions permissions({true, false, false}, [&] { ++looks; });
    ASSERT_THAT(*permissions.missing, SizeIs(2));
    EXPECT_EQ(permissions.missing.get()[0].command, "systemctl --user start pipewire wireplumber");
    permissions.checkAgain();
    permissions.checkAgain();
    EXPECT_EQ(looks, 1) << "one look at a time";
    permissions.update({true, false, false});
    EXPECT_EQ(*permissions.outcome, "Nothing has changed yet.");
    permissions.checkAgain();
    permissions.update({true, true, false});
    EXPECT_EQ(*permissions.outcome, "Better, but not everything is there yet.");
    permissions.update({});
    EXPECT_THAT(*permissions.missing, IsEmpty());
    permissions.update({false});
    EXPECT_THAT(permissions.missing->at(0).advice, HasSubstr("DISPLAY"));
    permissions.update({false, true, true, true});
    EXPECT_THAT(permissions.missing->at(0).advice, HasSubstr("Wayland"));
}

}  // namespace
}  // namespace lumicrate::test
