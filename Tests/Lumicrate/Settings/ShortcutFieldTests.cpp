#include "Lumicrate/Settings/ShortcutField.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Settings/SettingsFakes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

constexpr auto command = NSEvent::commandFlag;
constexpr auto option = NSEvent::optionFlag;
constexpr auto control = NSEvent::controlFlag;
constexpr auto shift = NSEvent::shiftFlag;
constexpr std::uint64_t capsLock = 1U << 16;

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

class ShortcutFieldTests : public testing::Test {
 protected:
    ShortcutFieldTests() { registerAll(); }

    void registerAll() {
        ++registrations;
        bindShortcuts(center, defaults, [](ShortcutAction) {});
    }
    ShortcutField& field(ShortcutAction action) { return *fields->all()[static_cast<std::size_t>(action)]; }
    std::string stored(const char* key) const { return defaults.stringForKey(key).value_or(""); }

    FakeDefaults defaults;
    FakeHotKeys hotKeys;
    HotKeyCenter center{hotKeys};
    FakeKeyMonitoring keys;
    int registrations = 0;
    int beeps = 0;
    std::optional<ShortcutFields> fields{
        std::in_place,
        ShortcutField::Services{defaults, center, keys, [this] { registerAll(); }, [this] { ++beeps; }}};
    ShortcutField& toggle = field(ShortcutAction::toggle);
    using Tone = ShortcutField::Tone;
};

TEST_F(ShortcutFieldTests, ListensUntilAShortcutComes) {
    EXPECT_EQ(*toggle.content, (ShortcutField::Content{"⌥⌘R", Tone::primary, "Click to change", "Alt+Super+R", "",
                                                 "Restore ⌥⌘R", false}));
    toggle.press();
    EXPECT_EQ(toggle.content->label, "Type shortcut…");
    EXPECT_EQ(toggle.content->tone, Tone::accent);
    EXPECT_EQ(toggle.content->help, "Press the new shortcut. Esc cancels, Delete turns it off.");
    EXPECT_TRUE(hotKeys.grabs.empty());

    EXPECT_TRUE(keys.press(17, control | shift, "t"));
    EXPECT_EQ(keys.monitors, 0);
    EXPECT_EQ(shortcut(ShortcutAction::toggle, defaults), (Shortcut{17, 0x1200, "T"}));
    EXPECT_EQ(toggle.content->label, "⌃⇧T");
    EXPECT_TRUE(toggle.content->canRestore);
    EXPECT_EQ(hotKeys.grabs.size(), 3U);
    EXPECT_EQ(hotKeys.grabs.begin()->second.keyCode, 17U);
    EXPECT_EQ(beeps, 0);
}

TEST_F(ShortcutFieldTests, KeysDoWhatTheyAreFor) {
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
        EXPECT_TRUE(keys.press(keyCode, flags, typed)) << what;
        EXPECT_EQ(toggle.isListening(), listens) << what;
        EXPECT_EQ(keys.monitors, listens ? 1 : 0) << what;
        EXPECT_EQ(hotKeys.grabs.empty(), listens) << what;
        EXPECT_EQ(toggle.content->label, label) << what;
        EXPECT_EQ(toggle.content->message, message) << what;
        EXPECT_EQ(beeps, message.empty() ? 0 : 1) << what;
        EXPECT_TRUE(!listens || defaults.stored.empty()) << what;
        if (listens) toggle.press();
    }
    EXPECT_EQ(stored("shortcut.toggle"), "off");
    EXPECT_EQ(toggle.content->tone, Tone::secondary);
    EXPECT_EQ(hotKeys.grabs.size(), 2U) << "an action that is off has no key";
}

TEST_F(ShortcutFieldTests, MessagesLastUntilTheNextTry) {
    toggle.press();
    keys.press(40, shift, "k");
    keys.press(96, 0, "");
    EXPECT_EQ(toggle.content->message, "") << "it was bound after all";
    toggle.press();
    keys.press(40, shift, "k");
    toggle.press();
    EXPECT_NE(toggle.content->message, "");
    toggle.press();
    EXPECT_EQ(toggle.content->message, "");
}

TEST_F(ShortcutFieldTests, TheDefaultIsRestoredUnlessItIsTaken) {
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

TEST_F(ShortcutFieldTests, OneFieldListensAtATimeAndNoneWhenItGoes) {
    toggle.press();
    field(ShortcutAction::pause).press();
    EXPECT_FALSE(toggle.isListening());
    EXPECT_TRUE(field(ShortcutAction::pause).isListening());
    EXPECT_TRUE(hotKeys.grabs.empty()) << "the first field's end does not bind the keys under the second";
    fields.reset();
    EXPECT_EQ(keys.monitors, 0);
    EXPECT_EQ(hotKeys.grabs.size(), 3U);
}

TEST_F(ShortcutFieldTests, WhatCannotBeStoredIsSaid) {
    defaults.readOnly = true;
    toggle.press();
    keys.press(96, 0, "");
    EXPECT_EQ(toggle.content->message, "The preferences can't be written.");
    EXPECT_EQ(toggle.content->label, "⌥⌘R");
    EXPECT_FALSE(toggle.isListening());
    EXPECT_EQ(hotKeys.grabs.size(), 3U);
}

}  // namespace
}  // namespace lumicrate::test
