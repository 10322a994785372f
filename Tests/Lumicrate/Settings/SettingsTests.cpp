// SPDX-License-Identifier: GPL-3.0-or-later
// The preferences, the models of the settings window, and those of the welcome and permission windows.
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Settings/SettingsModel.h"
#include "Lumicrate/Shell/Permissions.h"
#include "Lumicrate/Shell/Welcome.h"
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"
#include "Tests/Lumicrate/FakePlatform.h"

namespace lumicrate::test {
namespace {

using testing::HasSubstr;
using testing::Pair;

using namespace std::string_literals;

constexpr auto command = NSEvent::commandFlag;
constexpr auto option = NSEvent::optionFlag;
constexpr auto control = NSEvent::controlFlag;
constexpr auto shift = NSEvent::shiftFlag;
constexpr std::uint64_t capsLock = 1U << 16;

class RecordingOptionsTests : public testing::Test {
 protected:
    RecordingOptions read() {
        RecordingOptions::registerDefaults(defaults);
        return RecordingOptions::current(defaults);
    }

    FakeDefaults defaults;
};

TEST_F(RecordingOptionsTests, AFreshStoreHasTheRegisteredDefaults) {
    EXPECT_EQ(read(), RecordingOptions());
    EXPECT_THAT(defaults.stored, IsEmpty());
    const std::map<std::string, DefaultsValue, std::less<>> expected = {
        {"captureSystemAudio", true},
        {"captureMicrophone", false},
        {"microphoneID", ""s},
        {"quality", "p1080"s},
        {"fps", std::int64_t{30}},
        {"format", "mp4H264"s},
        {"showCursor", true},
        {"hideSelf", true},
        {"encodingQuality", "high"s},
        {"countdown", true},
        {"highlightClicks", false},
        {"webcamEnabled", false},
        {"webcamID", ""s},
        {"webcamWidth", 200.0},
        {"webcamShape", "circle"s},
        {"webcamBorder", "medium"s},
        {"webcamBorderColor", "#FFFFFF"s},
        {"areaRect", ""s},
        {"captureMode", "window"s},
        {"openPreview", true},
        {"mixAudio", true},
        {"webcamMirror", true},
        {"webcamMicLevel", true},
        {"checkForUpdates", true},
        {"holdNotifications", true},
        {"recordsInputData", true},
    };
    EXPECT_EQ(defaults.registered, expected);
}

TEST_F(RecordingOptionsTests, StoredValuesAreReadOrFallBack) {
    const struct {
        std::string key;
        DefaultsValue stored;
        std::function<void(RecordingOptions&)> change;
    } cases[] = {
        {"fps", std::int64_t{15}, [](auto& o) { o.fps = 15; }},
        {"fps", std::int64_t{24}, [](auto& o) { o.fps = 24; }},
        {"fps", std::int64_t{60}, [](auto& o) { o.fps = 60; }},
        {"fps", std::int64_t{25}, [](auto&) {}},
        {"fps", std::int64_t{0}, [](auto&) {}},
        {"fps", std::int64_t{1} << 32 | 15, [](auto&) {}},
        {"webcamWidth", 50.0, [](auto& o) { o.webcamWidth = 100; }},
        {"webcamWidth", 1000.0, [](auto& o) { o.webcamWidth = 480; }},
        {"webcamWidth", 321.5, [](auto& o) { o.webcamWidth = 321.5; }},
        {"format", "movHEVC"s, [](auto& o) { o.format = OutputFormat::movHEVC; }},
        {"format", "MOVHEVC"s, [](auto&) {}},
        {"quality", "native"s, [](auto& o) { o.quality = VideoQuality::native; }},
        {"quality", "p720"s, [](auto& o) { o.quality = VideoQuality::p720; }},
        {"quality", "p480"s, [](auto&) {}},
        {"encodingQuality", "maximum"s, [](auto& o) { o.encodingQuality = EncodingQuality::maximum; }},
        {"encodingQuality", ""s, [](auto&) {}},
        {"webcamShape", "rectangle"s, [](auto& o) { o.webcamShape = WebcamShape::rectangle; }},
        {"webcamShape", "star"s, [](auto&) {}},
        {"webcamBorder", "thick"s, [](auto& o) { o.webcamBorder = WebcamBorder::thick; }},
        {"webcamBorder", "Thick"s, [](auto&) {}},
        {"microphoneID", "usb"s, [](auto& o) { o.microphoneID = "usb"; }},
        {"areaRect", "{{1, 2}, {64, 48}}"s, [](auto& o) { o.areaRect = Rect(1, 2, 64, 48); }},
        {"areaRect", "{{0, 0}, {0.5, 300}}"s, [](auto&) {}},
        {"areaRect", "{{0, 0}, {1, 1}}"s, [](auto& o) { o.areaRect = Rect(0, 0, 1, 1); }},
        {"areaRect", "everything"s, [](auto&) {}},
        {"hideSelf", false, [](auto& o) { o.hideSelf = false; }},
        {"countdown", false, [](auto& o) { o.countdown = false; }},
        {"captureMicrophone", true, [](auto& o) { o.captureMicrophone = true; }},
        {"webcamMirror", false, [](auto& o) { o.webcamMirror = false; }},
        {"constantFrameRate", true, [](auto& o) { o.constantFrameRate = true; }},
        {"holdNotifications", false, [](auto& o) { o.holdNotifications = false; }},
        {"recordsInputData", false, [](auto& o) { o.recordsInputData = false; }},
        {"onlyApplicationAudio", true, [](auto& o) { o.onlyApplicationAudio = true; }},
        {"showKeys", true, [](auto& o) { o.showKeys = true; }},
        {"keysPlace", "topRight"s, [](auto& o) { o.keysPlace = KeysPlace::topRight; }},
        {"keysSize", "huge"s, [](auto& o) { o.keysSize = KeysSize::medium; }},
        {"showTypedText", true, [](auto& o) { o.showTypedText = true; }},
        {"neverRecorded", " a,b"s,
         [](auto& o) {
             o.neverRecorded = {"a", "b"};
         }},
    };
    for (const auto& each : cases) {
        defaults.stored = {{each.key, each.stored}};
        RecordingOptions expected;
        each.change(expected);
        EXPECT_EQ(read(), expected) << each.key;
    }
}

TEST_F(RecordingOptionsTests, AnOldBubbleSizeBecomesTheRegisteredWidth) {
    const std::pair<const char*, double> sizes[] = {
        {"small", 140}, {"medium", 200}, {"large", 280}, {"huge", 200}};
    for (const auto& [size, width] : sizes) {
        defaults.stored = {{"webcamSize", std::string(size)}};
        EXPECT_EQ(read().webcamWidth, width) << size;
        EXPECT_EQ(defaults.stored.size(), 1U) << "the old key stays, nothing is written";
    }
    defaults.stored = {{"webcamSize", "large"s}, {"webcamWidth", 150.0}};
    EXPECT_EQ(read().webcamWidth, 150);
}

TEST(ShortcutFromEventTests, TakesWhatCanBeBound) {
    struct {
        std::int64_t keyCode;
        std::uint64_t flags;
        const char* name;
        std::optional<Shortcut> shortcut;
    } const cases[] = {
        {15, command | option, "R", Shortcut{15, 0x900, "R"}},
        {7, control | option | shift | command, "X", Shortcut{7, 0x1B00, "X"}},
        {40, shift, "K", std::nullopt},
        {40, 0, "K", std::nullopt},
        {96, 0, "", Shortcut{96, 0, "F5"}},
        {80, shift | capsLock, "", Shortcut{80, 0x200, "F19"}},
        {49, control, " ", Shortcut{49, 0x1000, "Space"}},
        {49, shift, " ", std::nullopt},
        {36, command, "", Shortcut{36, 0x100, "↩"}},
        {123, 0, "", std::nullopt},
        {3, option, "F", Shortcut{3, 0x800, "F"}},
        {3, 0, "F", std::nullopt},
        {53, command, "", std::nullopt},
        {-1, control, "A", std::nullopt},
        {0x100000000, control, "A", std::nullopt},
        {18, control, "Ě", Shortcut{18, 0x1000, "Ě"}},
    };
    for (const auto& [keyCode, flags, name, shortcut] : cases)
        EXPECT_EQ(shortcutFrom({keyCode, flags, "", name}), shortcut) << keyCode << " " << name;
    EXPECT_EQ((Shortcut{0, 0x1B00, "⇟"}).spelledOut(), "Ctrl+Alt+Shift+Super+Page Down");
}

class SettingsTests : public testing::Test {
 protected:
    SettingsTests() {
        RecordingOptions::registerDefaults(defaults);
        registerAll();
    }
    void registerAll() {
        ++registrations;
        bindShortcuts(center, defaults, [](ShortcutAction) {});
    }
    ShortcutField& field(ShortcutAction action) {
        return *model->shortcutFields.all()[static_cast<std::size_t>(action)];
    }

    FakeDefaults defaults;
    FakeHotKeys hotKeys;
    HotKeyCenter center{hotKeys};
    FakeKeyMonitoring keys;
    FakeLoginService login;
    FakeFiles files;
    FakeCalendar calendar;
    RecordingFolder folder{files, calendar, defaults};
    Published<std::vector<CaptureDevice>> microphones, cameras;
    Published<std::vector<std::string>> unavailable, missing;
    int registrations = 0;
    int beeps = 0;
    std::optional<SettingsModel> model{
        SettingsModel::Services{{defaults, center, keys, [this] { registerAll(); }, [this] { ++beeps; }},
                                login,
                                microphones,
                                cameras,
                                unavailable,
                                missing,
                                folder,
                                "/home/me",
                                [] { throw PlatformError("There is no file viewer."); }}};
    ShortcutField& toggle = field(ShortcutAction::toggle);
    using Tone = ShortcutField::Tone;
};

TEST_F(SettingsTests, HandlesEveryKindOfKey) {
    EXPECT_EQ(*toggle.content, (ShortcutField::Content{"⌥⌘R", Tone::primary, "Click to change", "Alt+Super+R",
                                                       "", "Restore ⌥⌘R", false}));
    constexpr const char* include = "Include ⌘, ⌥ or ⌃ (or use a function key).";
    struct {
        const char* what;
        std::int64_t keyCode;
        std::uint64_t flags;
        const char* typed;
        bool listens;
        const char* label;
        std::string_view message;
    } const cases[] = {
        {"shift alone", 40, shift, "k", true, "Type shortcut…", include},
        {"plain", 40, 0, "k", true, "Type shortcut…", include},
        {"no code", -1, command, "k", true, "Type shortcut…", "This key can’t be used in a shortcut."},
        {"in use", 35, command | option, "p", true, "Type shortcut…",
         "⌥⌘P is already used for Pause / resume."},
        {"free", 17, control | shift, "t", false, "⌃⇧T", ""},
        {"its own", 15, command | option, "r", false, "⌥⌘R", ""},
        {"function key", 96, 0, "", false, "F5", ""},
        {"escape", 53, 0, "", false, "⌥⌘R", ""},
        {"delete", 51, 0, "", false, "None", ""},
        {"forward delete", 117, shift, "", false, "None", ""},
    };
    for (const auto& [what, keyCode, flags, typed, listens, label, message] : cases) {
        defaults.stored.clear();
        beeps = 0;
        toggle.press();
        EXPECT_EQ(toggle.content->message, "") << "the last one is cleared";
        EXPECT_EQ(toggle.content->tone, Tone::accent);
        EXPECT_EQ(toggle.content->help, "Press the new shortcut. Esc cancels, Delete turns it off.");
        EXPECT_TRUE(hotKeys.grabs.empty());
        EXPECT_TRUE(keys.press(keyCode, flags, typed)) << what;
        EXPECT_EQ(toggle.isListening(), listens) << what;
        EXPECT_EQ(keys.monitors, listens ? 1 : 0) << what;
        EXPECT_EQ(hotKeys.grabs.empty(), listens) << what;
        EXPECT_EQ(toggle.content->label, label) << what;
        EXPECT_EQ(toggle.content->message, message) << what;
        EXPECT_EQ(beeps, message.empty() ? 0 : 1) << what;
        EXPECT_TRUE(!listens || defaults.stored.empty()) << what;
        EXPECT_EQ(toggle.content->canRestore, !listens && std::string_view(label) != "⌥⌘R") << what;
        if (listens) toggle.press();
        EXPECT_EQ(toggle.content->message, message) << what;
    }
    EXPECT_EQ(defaults.stringForKey("shortcut.toggle"), "off");
    EXPECT_EQ(toggle.content->tone, Tone::secondary);
    EXPECT_EQ(hotKeys.grabs.size(), 2U) << "an action that is off is not bound";
}

TEST_F(SettingsTests, RestoresTheDefaultUnlessItIsInUse) {
    save(ShortcutAction::toggle, Shortcut{96, 0, "F5"}, defaults);
    save(ShortcutAction::area, defaultShortcut(ShortcutAction::toggle), defaults);
    EXPECT_EQ(toggle.content->label, "F5") << "changed elsewhere";
    toggle.restoreDefault();
    EXPECT_EQ(toggle.content->message, "⌥⌘R is already used for Record area.");
    EXPECT_EQ(beeps, 1);
    EXPECT_EQ(toggle.content->label, "F5");

    field(ShortcutAction::area).restoreDefault();
    toggle.press();
    registrations = 0;
    toggle.restoreDefault();
    EXPECT_FALSE(toggle.isListening());
    EXPECT_EQ(registrations, 1);
    EXPECT_EQ(toggle.content->label, "⌥⌘R");
    EXPECT_EQ(toggle.content->message, "");
    EXPECT_FALSE(toggle.content->canRestore);
}

TEST_F(SettingsTests, WebcamMenusOfferTheStoredValues) {
    RecordingOptions::registerDefaults(defaults);
    defaults.set("webcamID", "usb"s);
    defaults.set("webcamWidth", 261.0);
    defaults.set("webcamBorderColor", "#123456"s);
    EXPECT_EQ(model->cameras->back(), std::pair(DefaultsValue("usb"s), "A camera that is not connected"s));
    cameras = std::vector<CaptureDevice>{{"usb", "Desk"}};
    EXPECT_THAT(*model->cameras,
                ElementsAre(Pair(DefaultsValue(""s), "Default camera"), Pair(DefaultsValue("usb"s), "Desk")));
    EXPECT_EQ(model->webcamWidths->back(), std::pair(DefaultsValue(261.0), "261 points"s));
    EXPECT_EQ(model->webcamBorderColors->back(), std::pair(DefaultsValue("#123456"s), "#123456"s));
    defaults.set("webcamWidth", 280.0);
    EXPECT_EQ(model->webcamWidths->size(), 3U);
}

TEST_F(SettingsTests, OnlyOneFieldListens) {
    toggle.press();
    field(ShortcutAction::pause).press();
    EXPECT_FALSE(toggle.isListening());
    EXPECT_TRUE(field(ShortcutAction::pause).isListening());
    EXPECT_TRUE(hotKeys.grabs.empty()) << "stopping the first field must not bind shortcuts";
    model.reset();
    EXPECT_EQ(keys.monitors, 0);
    EXPECT_EQ(hotKeys.grabs.size(), 3U);
}

TEST_F(SettingsTests, AFailedWriteIsReported) {
    defaults.readOnly = true;
    toggle.press();
    keys.press(96, 0, "");
    EXPECT_EQ(toggle.content->message, "The preferences can't be written.");
    EXPECT_EQ(toggle.content->label, "⌥⌘R");
    EXPECT_FALSE(toggle.isListening());
    EXPECT_EQ(hotKeys.grabs.size(), 3U);
}

TEST_F(SettingsTests, EveryChoiceChangesTheRecordingOptions) {
    for (const ChoiceSetting& setting : {SettingsModel::quality(), SettingsModel::framesPerSecond(),
                                         SettingsModel::format(), SettingsModel::encodingQuality()}) {
        defaults.stored.clear();
        EXPECT_EQ(defaults.registered.at(setting.key), setting.fallback) << setting.key;
        std::vector<RecordingOptions> outcomes;
        for (const auto& [value, label] : setting.choices) {
            defaults.set(setting.key, value);
            const RecordingOptions options = RecordingOptions::current(defaults);
            EXPECT_THAT(outcomes, testing::Not(testing::Contains(options))) << setting.key << ": " << label;
            outcomes.push_back(options);
        }
    }
    for (const SwitchSetting& setting :
         {SettingsModel::countdown(), SettingsModel::hideSelf(), SettingsModel::showCursor(),
          model->highlightClicks(), SettingsModel::captureSystemAudio(), SettingsModel::captureMicrophone(),
          SettingsModel::mixAudio()})
        EXPECT_TRUE(std::holds_alternative<bool>(defaults.registered.at(setting.key))) << setting.key;
}

TEST_F(SettingsTests, TheChosenMicrophoneIsOfferedEvenIfDisconnected) {
    EXPECT_THAT(*model->microphones, ElementsAre(Pair(DefaultsValue(std::string()), "System default")));
    microphones = std::vector<CaptureDevice>{{"usb", "Desk"}, {"card", "Built-in"}};
    defaults.set("microphoneID", std::string("usb"));
    EXPECT_THAT(*model->microphones, SizeIs(3));
    microphones = std::vector<CaptureDevice>{{"card", "Built-in"}};
    EXPECT_THAT(model->microphone().choices,
                ElementsAre(testing::_, Pair(testing::_, "Built-in"),
                            Pair(DefaultsValue(std::string("usb")), "A microphone that is not connected")));
    defaults.set("microphoneID", std::string("card"));
    EXPECT_THAT(*model->microphones, SizeIs(2));
}

TEST_F(SettingsTests, ReportsUnavailableShortcutsAndErrors) {
    EXPECT_EQ(*model->unavailableText, "");
    unavailable = std::vector<std::string>{"⌥⌘R", "⌥⌘A"};
    EXPECT_EQ(*model->unavailableText, "Another app is using ⌥⌘R, ⌥⌘A. Pick a different shortcut.");
    missing = std::vector<std::string>{"⌥⌘A"};
    unavailable = std::vector<std::string>{"⌥⌘R", "⌥⌘A"};
    EXPECT_EQ(*model->unavailableText,
              "Another app is using ⌥⌘R. Pick a different shortcut.\n"
              "This keyboard has no key for ⌥⌘A. Pick a different shortcut.");
    EXPECT_EQ(*model->recordingsFolder, "~/Movies/Lumicrate");
    files.isReadOnly = true;
    EXPECT_EQ(model->chooseRecordingsFolder("/mnt/disk"), "Recordings can't be written to this folder.");
    EXPECT_EQ(*model->recordingsFolder, "~/Movies/Lumicrate");
    files.isReadOnly = false;
    EXPECT_EQ(model->chooseRecordingsFolder("/home/me/Clips"), "");
    EXPECT_EQ(*model->recordingsFolder, "~/Clips");
    defaults.set("recordingsFolder", std::string("Clips"));
    EXPECT_EQ(*model->recordingsFolder, "~/Movies/Lumicrate") << "a relative path";
    EXPECT_EQ(model->openRecordingsFolder(), "There is no file viewer.");

    login.refuses = true;
    model->loginItem.set(true);
    EXPECT_FALSE(*model->loginItem.enabled);
    EXPECT_EQ(*model->loginItem.error, "The autostart entry can't be written.");
    login.refuses = false;
    model->loginItem.set(true);
    EXPECT_TRUE(*model->loginItem.enabled);
    EXPECT_EQ(*model->loginItem.error, "");
}

TEST_F(SettingsTests, SaysWhichKeysTheDesktopHasAssigned) {
    using State = HotKeyAssignment::State;
    Published<HotKeyAssignment> assignment;
    hotKeys.assigned = &assignment;
    model.emplace(SettingsModel::Services{{defaults, center, keys, [] {}, [] {}},
                                          login,
                                          microphones,
                                          cameras,
                                          unavailable,
                                          missing,
                                          folder,
                                          "/home/me",
                                          [] {},
                                          true,
                                          {false, false, false, false}});
    EXPECT_FALSE(model->highlightClicks().available || model->showKeys().available);
    EXPECT_THAT(model->showKeys().caption, HasSubstr("Wayland"));
    EXPECT_THAT(model->highlightClicks().caption, HasSubstr("Wayland"));
    Welcome welcome(defaults, login, "/data", "/home/me", &assignment);
    const struct {
        HotKeyAssignment assignment;
        bool usesCommands;
        const char* guide;
        const char* warning;
        const char* welcome;
    } cases[] = {
        {{}, false, "The desktop decides which keys it assigns.\n", "", "asks it for Alt+Super+R (⌥⌘R);"},
        {{State::assigned, "", {{"toggle", "Ctrl+2"}, {"area", ""}}},
         false,
         "assigned:\n• Start / stop: Ctrl+2\n• Record area: see the keyboard settings of the desktop\n\n⌃ is",
         "",
         "assigned by your desktop: Ctrl+2."},
        {{State::assigned, "", {}}, false, "assigned none", "", "asks it for"},
        {{State::refused, "No.", {}},
         false,
         "asks for",
         "No. Change a shortcut to try again.",
         "“lumicrate toggle”"},
        {{State::unavailable, "None.", {}}, true, "None. In the keyboard settings", "", "“lumicrate toggle”"},
    };
    for (const auto& each : cases) {
        assignment = each.assignment;
        unavailable = std::vector<std::string>();  // As always after registering.
        EXPECT_EQ(model->shortcutGuide->usesCommands, each.usesCommands) << each.guide;
        EXPECT_THAT(model->shortcutGuide->text, HasSubstr(each.guide));
        EXPECT_EQ(*model->unavailableText, each.warning);
        EXPECT_THAT(welcome.points->at(1).text, HasSubstr(each.welcome));
    }
    EXPECT_EQ(lumicrate::command(ShortcutAction::area), "lumicrate area");
}

TEST_F(SettingsTests, PathsInTheHomeFolderAreAbbreviated) {
    for (const auto& [path, home, written] :
         std::vector<std::array<const char*, 3>>{{"/home/me/Videos", "/home/me", "~/Videos"},
                                                 {"/home/me", "/home/me/", "~"},
                                                 {"/home/meg/Videos", "/home/me", "/home/meg/Videos"},
                                                 {"/data/x", "/home/me", "/data/x"},
                                                 {"/data/x", "", "/data/x"}})
        EXPECT_EQ(displayPath(path, home), written);
}

TEST_F(SettingsTests, TheWelcomeIsShownOnceWithTheCurrentShortcut) {
    Welcome welcome(defaults, login, "/data/Lumicrate", "/home/me", nullptr);
    EXPECT_TRUE(Welcome::isDue(defaults));
    EXPECT_THAT(welcome.points->at(1).text, HasSubstr("Alt+Super+R (⌥⌘R)"));
    save(ShortcutAction::toggle, std::nullopt, defaults);
    EXPECT_THAT(welcome.points->at(1).text, HasSubstr("turned off"));
    defaults.readOnly = true;
    welcome.finish();
    EXPECT_TRUE(Welcome::isDue(defaults));
    defaults.readOnly = false;
    welcome.finish();
    EXPECT_FALSE(Welcome::isDue(defaults));
}

TEST(PermissionsTests, ListWhatIsUnavailable) {
    int checks = 0;
    Permissions permissions({true, false, false}, [&] { ++checks; });
    ASSERT_THAT(*permissions.missing, SizeIs(2));
    EXPECT_EQ(permissions.missing.get()[0].command, "systemctl --user start pipewire wireplumber");
    permissions.checkAgain();
    permissions.checkAgain();
    EXPECT_EQ(checks, 1) << "one check at a time";
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
    EXPECT_THAT(permissions.missing->at(0).advice, HasSubstr("portal"));
}

}  // namespace
}  // namespace lumicrate::test
