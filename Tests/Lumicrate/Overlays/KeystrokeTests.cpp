// SPDX-License-Identifier: GPL-3.0-or-later
// Pressed keys: what is shown of a press, and the row that shows it, without widgets.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

constexpr std::uint64_t control = NSEvent::controlFlag;
constexpr std::uint64_t alt = NSEvent::optionFlag;
constexpr std::uint64_t shift = NSEvent::shiftFlag;
constexpr std::uint64_t super = NSEvent::commandFlag;

/// A key that types `characters`; nothing if they are empty.
NSGlobalEvent character(std::uint32_t symbol, std::string name, std::uint64_t flags, std::string characters) {
    NSGlobalEvent press;
    press.symbol = symbol;
    press.event.keyName = std::move(name);
    press.event.modifierFlags = flags;
    press.types = true;
    press.characters = std::move(characters);
    return press;
}
NSGlobalEvent key(std::uint32_t symbol, std::uint64_t flags = 0) {
    NSGlobalEvent press;
    press.symbol = symbol;
    press.event.modifierFlags = flags;
    return press;
}
NSGlobalEvent button(NSGlobalEvent::Source source, std::uint64_t flags) {
    NSGlobalEvent press;
    press.source = source;
    press.event.modifierFlags = flags;
    return press;
}

TEST(KeystrokeLabelTests, CommandsAreShownAndTypingOnlyOnRequest) {
    using Source = NSGlobalEvent::Source;
    const struct {
        NSGlobalEvent press;
        const char* label;  ///< nullptr for none
        const char* typed = nullptr;
    } cases[] = {
        {character('s', "S", control, "s"), "Ctrl+S"},
        {character('s', "S", control | alt | shift | super, "S"), "Ctrl+Alt+Shift+Super+S"},
        {character(' ', " ", control, " "), "Ctrl+Space"},
        {character(0xffb1, "1", control, "1"), "Ctrl+1"},
        {key(0xffc2), "F5"},
        {key(0xffc9, shift), "Shift+F12"},
        {key(0xff1b), "Esc"},
        {key(0xff51, alt), "Alt+←"},
        {key(0xff9c), "End"},
        {key(0xff8d), "Enter"},
        {key(0xff09, shift), "Shift+Tab"},
        {key(0x1008ff13), "Volume Up"},
        {character('a', "A", 0, "a"), nullptr, "a"},
        {character('a', "A", shift, "A"), nullptr, "A"},
        {character('q', "Q", 0, "@"), nullptr, "@"},
        {character(' ', " ", shift, " "), nullptr, " "},
        {character(0xffb1, "1", 0, "1"), nullptr, "1"},
        {character(0xfe51, "", 0, ""), nullptr},  // a dead accent
        {key(0xff20, control), nullptr},          // Compose
        {key(0xffe1), nullptr},                   // modifiers
        {key(0xffe3, shift), nullptr},
        {key(0xfe03), nullptr},
        {key(0xffe5), nullptr},  // Caps Lock
        {key(0), nullptr},       // unknown
        {key(0, control), nullptr},
        {button(Source::leftButton, control), "Ctrl+Click"},
        {button(Source::rightButton, shift), "Shift+Right Click"},
        {button(Source::middleButton, super), "Super+Middle Click"},
        {button(Source::leftButton, 0), nullptr},
    };
    for (const auto& [press, label, typed] : cases) {
        const std::string what = std::to_string(press.symbol) + " " + (label ? label : "nothing");
        const auto text = [](const auto& shown) { return shown ? shown->text : "nothing"; };
        EXPECT_EQ(text(keystrokeLabel(press, false)), label ? label : "nothing") << what;
        const auto asked = keystrokeLabel(press, true);
        EXPECT_EQ(text(asked), typed ? typed : label ? label : "nothing") << what;
        EXPECT_EQ(asked && asked->isTyped, typed != nullptr) << what;
    }
}

TEST(KeystrokePlacementTests, TheRowLiesInsideOfWhatIsRecorded) {
    const struct {
        Rect recorded;
        KeysSize size;
        KeysPlace place;
        Rect row;
    } cases[] = {
        {{0, 0, 1920, 1080}, KeysSize::medium, KeysPlace::bottom, {24, 97, 1872, 49}},
        {{0, 0, 1920, 1080}, KeysSize::large, KeysPlace::topLeft, {24, 990, 1872, 66}},
        {{-500, 200, 400, 300}, KeysSize::small, KeysPlace::bottomRight, {-480, 227, 360, 34}},
        {{10, 10, 200, 60}, KeysSize::medium, KeysPlace::top, {20, 16, 180, 48}},
        {{10, 10, 3, 3}, KeysSize::medium, KeysPlace::top, {10, 10, 3, 3}},
    };
    for (const auto& [recorded, size, place, row] : cases)
        EXPECT_EQ(keystrokes::rowFrame(recorded, size, place), row);
}

class KeystrokeDisplayTests : public RecorderFixture {
 protected:
    KeystrokeDisplayTests() {
        screens.all = {{1, screen, screen, 1, "main"}};
        defaults.stored["shortcut.toggle"] = std::string(R"({"keyCode":15,"modifiers":4096,"key":"R"})");
    }
    void show() { EXPECT_EQ(keystrokeDisplay.show(options, screen), ""); }
    void press(const NSGlobalEvent& event) {
        presses.press(event);
        release(event);
    }
    void release(NSGlobalEvent event) {
        event.isUp = true;
        presses.press(event);
    }
    void hold(std::uint64_t modifiers) {
        NSGlobalEvent event = key(0, modifiers);
        event.source = NSGlobalEvent::Source::modifiers;
        presses.press(event);
    }
    const KeystrokeRow& row() const { return *contents.keystrokesModel->row; }
    /// "F5 × 2 | a": what the row shows.
    std::string shown() const {
        std::string all;
        for (const Keystroke& each : row().keys) {
            all += (all.empty() ? "" : " | ") + each.label.text;
            if (each.count > 1) all += " × " + std::to_string(each.count);
        }
        return all;
    }
    void expectNothingShown() {
        EXPECT_EQ(shown(), "");
        EXPECT_EQ(contents.last().settings.frame.area(), 1);
        EXPECT_EQ(executor.pendingTimers(), 0U);
    }

    const Rect screen{0, 0, 1000, 1000};
    const NSGlobalEvent f1 = key(0xffbe), f2 = key(0xffbf), f3 = key(0xffc0), f4 = key(0xffc1);
    RecordingOptions options;
};

TEST_F(KeystrokeDisplayTests, TheRowCountsRepeatsAndFades) {
    show();
    EXPECT_EQ(contents.last().settings.level, 1000);
    EXPECT_TRUE(contents.last().settings.ignoresMouseEvents);
    const auto number = keystrokeDisplay.windowNumber();
    press(character('a', "A", 0, "a"));
    expectNothingShown();
    press(f1);
    press(f1);
    executor.advance(1400ms);
    press(f1);
    EXPECT_EQ(shown(), "F1 × 3");
    EXPECT_EQ(contents.last().settings.frame, (Rect{24, 90, 952, 48}));
    for (const auto& each : {f2, f3, f4})
        press(each);
    EXPECT_EQ(shown(), "F2 | F3 | F4");
    executor.advance(1499ms);
    EXPECT_EQ(row().opacity, 1);
    executor.advance(126ms);
    EXPECT_NEAR(row().opacity, 0.5, 0.01);
    press(f4);
    EXPECT_EQ(shown(), "F2 | F3 | F4 × 2");
    EXPECT_EQ(row().opacity, 1);
    keystrokeDisplay.move({100, 0, 500, 1000});
    EXPECT_EQ(contents.last().settings.frame, (Rect{124, 90, 452, 48}));
    executor.advance(1750ms);
    expectNothingShown();
    keystrokeDisplay.setReducedMotion(true);
    press(f1);
    executor.advance(1499ms);
    EXPECT_EQ(row().opacity, 1);
    executor.advance(1ms);
    expectNothingShown();
    EXPECT_EQ(keystrokeDisplay.windowNumber(), number);
    press(f1);
    keystrokeDisplay.hide();
    EXPECT_EQ(presses.monitors + contents.shownPanels() + executor.pendingTimers(), 0U);
}

TEST_F(KeystrokeDisplayTests, WhatIsHeldStays) {
    show();
    presses.press(f1);
    executor.advance(10s);
    EXPECT_EQ(shown(), "F1");
    release(f1);
    executor.advance(1750ms);
    expectNothingShown();

    hold(shift);
    hold(shift | control);
    executor.advance(399ms);
    EXPECT_EQ(shown(), "");
    executor.advance(10s);
    EXPECT_EQ(shown(), "Ctrl+Shift");
    press(character('s', "S", control | shift, "S"));
    executor.advance(10s);
    EXPECT_EQ(shown(), "Ctrl+Shift+S");
    press(character('s', "S", control | shift, "S"));
    hold(shift);
    executor.advance(1499ms);
    EXPECT_EQ(shown(), "Ctrl+Shift+S × 2");
    // Text that is typed then is not shown, and keeps nothing on the screen.
    presses.press(character('p', "P", shift, "P"));
    executor.advance(251ms);
    expectNothingShown();
    release(character('p', "P", shift, "P"));

    hold(control);
    executor.advance(300ms);
    press(character('c', "C", control, "c"));
    hold(0);
    EXPECT_EQ(shown(), "Ctrl+C");
    executor.advance(1750ms);
    expectNothingShown();
    hold(alt);
    keystrokeDisplay.hide();
    EXPECT_EQ(executor.pendingTimers(), 0U);
}

TEST_F(KeystrokeDisplayTests, TypedTextGrowsInOneCapsule) {
    options.showTypedText = true;
    show();
    for (const char* each : {"n", "ä", " "})
        press(character('n', "N", 0, each));
    press(character('s', "S", control, "s"));
    press(character('s', "S", 0, "s"));
    EXPECT_EQ(shown(), "nä  | Ctrl+S | s");
    for (int i = 0; i < 40; ++i)
        press(character('s', "S", 0, "é"));
    EXPECT_EQ(row().keys.back().label.text.size(), 2 * 32U);
    NSGlobalEvent own = character('r', "R", control, "r");
    own.event.keyCode = 15;
    press(own);
    EXPECT_EQ(row().keys.size(), 3U) << "the recorder's own shortcut";
}

TEST_F(KeystrokeDisplayTests, AccompaniesARecordingOrIsReported) {
    overlays.keystrokes = &keystrokeDisplay;
    defaults.stored["showKeys"] = true;
    defaults.stored["areaRect"] = std::string("{{100, 50}, {320, 240}}");
    defaults.stored["keysPlace"] = std::string("topLeft");
    capture.content.windows.push_back({1, {}, std::nullopt, 0, SCRunningApplication{42, "Lumicrate"}});
    make();
    record(CaptureSource::area(1));
    EXPECT_THAT(capture.stream->filter.exceptingWindows, ElementsAre(1));
    press(f1);
    EXPECT_EQ(contents.visible("keys")->settings.frame, (Rect{116, 878, 288, 48}));
    stopAndComplete();
    EXPECT_EQ(contents.shownPanels(), 0U);
    presses.refusal = "No server.";
    record(CaptureSource::area(1));
    stopAndComplete();
    EXPECT_THAT(*recorder->notices, ElementsAre("Pressed keys can't be shown: No server."));
}

}  // namespace
}  // namespace lumicrate::test
