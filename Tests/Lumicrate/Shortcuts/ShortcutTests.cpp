// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"
#include "Tests/Lumicrate/FakePlatform.h"

namespace lumicrate::test {
namespace {

TEST(ShortcutTests, TextsAndKeyEquivalents) {
    EXPECT_EQ((Shortcut{15, 0x900, "R"}.display()), "⌥⌘R");
    EXPECT_EQ((Shortcut{7, 0x1A00, "X"}.display()), "⌃⌥⇧X");
    EXPECT_EQ((Shortcut{96, 0, "F5"}.display()), "F5");
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"R", "r"}, {"Space", " "},     {"F5", std::nullopt}, {"↩", std::nullopt}, {"←", std::nullopt},
        {"Ö", "Ö"}, {"", std::nullopt}, {"RR", std::nullopt}, {"7", "7"},          {"あ", "あ"},
    };
    for (const auto& [key, equivalent] : cases)
        EXPECT_EQ((Shortcut{0, 0x100, key}.keyEquivalent()), equivalent) << key;
    EXPECT_EQ(Shortcut::specialKeys().size(), 30U);
    EXPECT_EQ(Shortcut::specialKeys().at(119), "↘");
}

TEST(ShortcutTests, StoredFormsAreReadBack) {
    FakeDefaults defaults;
    const Shortcut own{49, 0x1300, "Space"};
    save(ShortcutAction::pause, own, defaults);
    EXPECT_EQ(shortcut(ShortcutAction::pause, defaults), own);
    EXPECT_EQ(shortcut(ShortcutAction::toggle, defaults), (Shortcut{15, 0x900, "R"}));
    EXPECT_EQ(shortcut(ShortcutAction::area, defaults), (Shortcut{0, 0x900, "A"}));
    save(ShortcutAction::pause, std::nullopt, defaults);
    EXPECT_EQ(defaults.stringForKey("shortcut.pause"), "off");
    EXPECT_EQ(shortcut(ShortcutAction::pause, defaults), std::nullopt);
    save(ShortcutAction::pause, Shortcut{1, 0x100, "\xff"}, defaults);
    EXPECT_EQ(defaults.stringForKey("shortcut.pause"), "off") << "not valid UTF-8";
}

TEST(ShortcutTests, AnInvalidTextGivesTheDefault) {
    const Shortcut fallback{15, 0x900, "R"};
    const char* const malformed[] = {
        "",
        "Off",
        "{",
        "[]",
        "15",
        R"({"keyCode":15,"modifiers":2304})",
        R"({"keyCode":"15","modifiers":2304,"key":"R"})",
        R"({"keyCode":1.5,"modifiers":2304,"key":"R"})",
        R"({"keyCode":-1,"modifiers":2304,"key":"R"})",
        R"({"keyCode":4294967296,"modifiers":2304,"key":"R"})",
        R"({"keyCode":18446744073709551615,"modifiers":2304,"key":"R"})",
        R"({"keyCode":15,"modifiers":2304,"key":7})",
    };
    for (const char* stored : malformed)
        EXPECT_EQ(decodeShortcut(stored, fallback), fallback) << stored;
    EXPECT_EQ(decodeShortcut(R"({"key":"P","extra":1,"modifiers":256,"keyCode":35})", fallback),
              (Shortcut{35, 0x100, "P"}));
}

class HotKeyTests : public testing::Test {
 protected:
    FakeHotKeys keys;
    std::optional<HotKeyCenter> center{keys};
    FakeDefaults defaults;
    std::vector<ShortcutAction> performed;

    std::vector<std::string> bind() {
        return bindShortcuts(*center, defaults,
                             [this](ShortcutAction action) { performed.push_back(action); })
            .all;
    }
};

TEST_F(HotKeyTests, PressesReachTheirActions) {
    bind();
    EXPECT_THAT(bind(), IsEmpty());
    EXPECT_EQ(keys.grabs.size(), 3U) << "the earlier ones are unregistered";
    EXPECT_EQ(keys.grabs.begin()->second.id.id, 1U);
    EXPECT_EQ(keys.installed, 1);
    for (const std::uint32_t key : {35U, 15U, 0U})
        keys.press(key);
    EXPECT_THAT(performed, ElementsAre(ShortcutAction::pause, ShortcutAction::toggle, ShortcutAction::area));
    keys.handler({0x4C554D49, 77});
    keys.handler({0x12345678, 1});
    center->unregisterAll();
    keys.handler({0x4C554D49, 1});
    EXPECT_EQ(performed.size(), 3U);
}

TEST_F(HotKeyTests, RefusedShortcutsAreListed) {
    defaults.stored = {{"shortcut.pause", std::string("off")}, {"shortcut.area", std::string("nonsense")}};
    keys.refused = {15, 35};
    EXPECT_THAT(bind(), ElementsAre("⌥⌘R"));
    ASSERT_EQ(keys.grabs.size(), 1U);
    const auto& grab = keys.grabs.begin()->second;
    EXPECT_EQ(grab.keyCode, 0U);
    EXPECT_EQ(grab.modifiers, 0x900U);
    EXPECT_EQ(grab.id, (EventHotKeyID{0x4C554D49, 1})) << "a refused combination takes no number";
}

TEST_F(HotKeyTests, AnActionMayBindAgainAndALatePressIsIgnored) {
    center->registerHotKey(1, 0x100, {}, [this] {
        center->unregisterAll();
        bind();
        performed.push_back(ShortcutAction::area);
    });
    keys.press(1);
    EXPECT_THAT(performed, ElementsAre(ShortcutAction::area));
    center.reset();
    EXPECT_THAT(keys.grabs, IsEmpty());
    keys.handler({0x4C554D49, 1});
    EXPECT_EQ(performed.size(), 1U);
}

}  // namespace
}  // namespace lumicrate::test
