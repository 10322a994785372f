// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/ButtonWatch.h"
#include "Linux/X11/Input/HotKeys.h"
#include "Linux/X11/Input/PointerFollower.h"
#include "Linux/X11/Input/PressWatch.h"
#include "Lumicrate/Overlays/KeystrokeLabel.h"
#include "Support/Error.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Xvfb.h"
#include "Tests/Support/VirtualExecutor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate::x11 {
namespace {

using test::eventually;
using testing::ElementsAre;

constexpr std::uint32_t command = 0x100;
constexpr std::uint32_t shift = 0x200;
constexpr std::uint32_t option = 0x800;
constexpr std::uint32_t control = 0x1000;
constexpr std::uint32_t keyF5 = 96;

/// Another program that grabs and releases combinations.
struct OtherProgram {
    bool take(xcb_keycode_t key, std::uint16_t modifiers) const {
        return connection.succeeds(xcb_grab_key_checked(connection.get(), 0, connection.root(), modifiers,
                                                        key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    void giveBack(xcb_keycode_t key) const {
        connection.succeeds(
            xcb_ungrab_key_checked(connection.get(), key, connection.root(), XCB_MOD_MASK_ANY));
    }

    Connection connection;
};

/// An X server with a keyboard and a pointer that xdotool operates.
class InputTests : public testing::Test {
 protected:
    void tool(std::vector<std::string> arguments) const {
        stage::runProgram(std::move(arguments),
                          {{"DISPLAY", server.displayName()}, {"XAUTHORITY", std::nullopt}});
    }
    /// Runs xdotool with these words.
    void type(std::vector<std::string> words) const {
        words.insert(words.begin(), "xdotool");
        tool(std::move(words));
    }

    /// Runs what is posted until the condition holds.
    bool runUntil(const std::function<bool()>& reached) {
        return eventually([&] {
            queue.drain();
            return reached();
        });
    }

    stage::Xvfb server{{.width = 200, .height = 200}};
    test::VirtualExecutor queue;
};

class HotKeysTests : public InputTests {
 protected:
    HotKeysTests() {
        keys.InstallEventHandler([this](EventHotKeyID id) { pressed.push_back(id.id); });
    }

    void typeWithControl(int key) const {
        type({"keydown", "Control_L", "key", std::to_string(key), "keyup", "Control_L"});
    }
    EventHotKeyRef bind(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t id) {
        return keys.RegisterEventHotKey(keyCode, modifiers, {1, id}, {});
    }
    /// All presses until now: those reported before a final one of our own.
    std::vector<std::uint32_t> presses() {
        constexpr std::uint32_t last = 999;
        const EventHotKeyRef ref = bind(keyF5, shift, last);
        EXPECT_NE(ref, 0U);
        type({"key", "shift+F5"});
        EXPECT_TRUE(runUntil([&] { return !pressed.empty() && pressed.back() == last; }));
        keys.UnregisterEventHotKey(ref);
        if (!pressed.empty()) pressed.pop_back();
        return std::exchange(pressed, {});
    }
    /// Its press is posted then.
    void typeAndAwaitEvent(const HotKeys& bound) const {
        const std::uint64_t before = bound.eventCount();
        type({"key", "ctrl+r"});
        ASSERT_TRUE(eventually([&] { return bound.eventCount() > before; }));
    }
    bool awaitCode(std::uint32_t key, std::int64_t code) {
        return eventually([&] { return keys.virtualKeyCodeOf(key) == code; });
    }

    HotKeys keys{queue, server.displayName()};
    std::vector<std::uint32_t> pressed;
};

TEST_F(HotKeysTests, EveryPressIsReportedOnce) {
    const struct {
        std::uint32_t keyCode, modifiers;
        const char* typed;
    } cases[] = {{15, command | option, "super+alt+r"},
                 {0, command | option, "super+alt+a"},
                 {49, control, "ctrl+space"},
                 {36, control | shift, "ctrl+shift+Return"},
                 {96, 0, "F5"},
                 {105, 0, "191"},  // F13
                 {123, option, "alt+Left"},
                 {51, control, "ctrl+BackSpace"},
                 {117, control, "ctrl+Delete"},
                 {83, control, "ctrl+KP_End"}};
    std::uint32_t id = 0;
    for (const auto& each : cases) {
        ASSERT_NE(bind(each.keyCode, each.modifiers, ++id), 0U) << each.typed;
        type({"key", each.typed, each.typed});
        EXPECT_THAT(presses(), ElementsAre(id, id)) << each.typed;
    }
    type({"key", "super+r", "alt+r", "super+alt+shift+r", "r", "ctrl+F5"});
    EXPECT_THAT(presses(), ElementsAre());
}

TEST_F(HotKeysTests, LocksAreIgnoredOnAnyModifier) {
    tool({"xmodmap", "-e", "add mod3 = Scroll_Lock"});
    ASSERT_NE(bind(15, command | option, 1), 0U);
    for (const std::string locks :
         {"", "Caps_Lock", "Num_Lock", "Caps_Lock Num_Lock", "Scroll_Lock", "Caps_Lock Scroll_Lock",
          "Num_Lock Scroll_Lock", "Caps_Lock Num_Lock Scroll_Lock"}) {
        tool({"sh", "-c", "xdotool key " + locks + " super+alt+r " + locks});  // on and off
        EXPECT_THAT(presses(), ElementsAre(1)) << locks;
    }
    // Num Lock on another modifier.
    tool({"xmodmap", "-e", "clear mod2", "-e", "clear mod3", "-e", "add mod3 = Num_Lock"});
    const OtherProgram other{Connection(server.displayName())};
    ASSERT_TRUE(eventually([&] { return other.take(27, XCB_MOD_MASK_1 | XCB_MOD_MASK_4 | XCB_MOD_MASK_2); }));
    type({"key", "Num_Lock", "super+alt+r"});
    EXPECT_THAT(presses(), ElementsAre(1));
}

TEST_F(HotKeysTests, AutoRepeatIsOnePress) {
    tool({"xset", "r", "rate", "100", "50"});
    ASSERT_NE(bind(15, control, 1), 0U);
    ASSERT_NE(bind(35, control, 2), 0U);
    const std::uint64_t before = keys.eventCount();
    type({"keydown", "Control_L", "keydown", "r"});
    EXPECT_TRUE(eventually([&] { return keys.eventCount() > before + 6; })) << "the key does not repeat";
    type({"keyup", "r", "keyup", "Control_L"});
    EXPECT_THAT(presses(), ElementsAre(1));
    // A second key is pressed before the first is released; then each again.
    type({"keydown", "Control_L", "keydown", "r", "keydown", "p", "keyup", "r", "keyup", "p", "key", "p", "r",
          "keyup", "Control_L"});
    EXPECT_THAT(presses(), ElementsAre(1, 2, 2, 1));
}

TEST_F(HotKeysTests, ACombinationOfAnotherProgramIsRefusedAndNothingIsTaken) {
    constexpr xcb_keycode_t keyR = 27;
    constexpr std::uint16_t modifiers = XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
    const OtherProgram other{Connection(server.displayName())};
    for (const std::uint16_t lock :
         {std::uint16_t{0}, std::uint16_t{XCB_MOD_MASK_LOCK}, std::uint16_t{XCB_MOD_MASK_2}}) {
        ASSERT_TRUE(other.take(keyR, modifiers | lock));
        EXPECT_EQ(bind(15, command | option, 1), 0U) << lock;
        other.giveBack(keyR);
        // The grabs of the refused attempt are being released.
        ASSERT_TRUE(eventually([&] { return other.take(keyR, XCB_MOD_MASK_ANY); })) << lock;
        other.giveBack(keyR);
    }
    const EventHotKeyRef ref = bind(15, command | option, 1);
    ASSERT_NE(ref, 0U);
    EXPECT_EQ(bind(15, command | option, 2), 0U) << "twice";
    EXPECT_EQ(bind(80, command, 3), 0U) << "not on this keyboard";
    EXPECT_FALSE(keys.hasKey(80));
    EXPECT_TRUE(keys.hasKey(15));
    EXPECT_EQ(bind(4711, command, 3), 0U);
    EXPECT_FALSE(other.take(keyR, modifiers));
    keys.UnregisterEventHotKey(ref);
    keys.UnregisterEventHotKey(ref);
    EXPECT_TRUE(eventually([&] { return other.take(keyR, modifiers); }));
}

TEST_F(HotKeysTests, FollowsTheLayout) {
    // X key codes, from the left: Q 24, W 25, E 26 …
    const struct {
        const char* layout;
        std::vector<std::pair<std::uint32_t, int>> places;  ///< of codes
    } layouts[] = {
        {"de", {{6, 29}, {16, 52}, {0, 38}, {18, 10}, {41, 47}, {27, 61}}},
        {"fr", {{0, 24}, {12, 38}, {6, 25}, {13, 52}, {18, 10}, {26, 16}}},
        {"ru", {{0, 38}, {15, 27}, {41, 47}, {18, 10}}},
        {"us", {{0, 38}, {15, 27}, {6, 52}, {16, 29}, {41, 47}, {27, 20}}},
    };
    for (const auto& each : layouts) {
        std::vector<EventHotKeyRef> refs;
        for (const auto& [code, key] : each.places) {
            // Bound in the former layout.
            refs.push_back(bind(code, control, code + 1));
            ASSERT_NE(refs.back(), 0U) << each.layout << " " << code;
        }
        tool({"setxkbmap", each.layout});
        for (const auto& [code, key] : each.places)
            ASSERT_TRUE(awaitCode(key, code)) << each.layout << " " << code;
        for (const auto& [code, key] : each.places) {
            typeWithControl(key);
            EXPECT_THAT(presses(), ElementsAre(code + 1)) << each.layout;
        }
        for (const EventHotKeyRef ref : refs)
            keys.UnregisterEventHotKey(ref);
    }
    // Not at its position in the former layout.
    ASSERT_NE(bind(6, control, 1), 0U);
    queue.drain();
    int changes = 0;
    keys.setOnLayoutChange([&changes] { ++changes; });
    tool({"setxkbmap", "de"});
    EXPECT_TRUE(runUntil([&] { return changes > 0; }));
    ASSERT_TRUE(awaitCode(29, 6));
    typeWithControl(52);
    EXPECT_THAT(presses(), ElementsAre());
}

TEST_F(HotKeysTests, AnUnregisteredCombinationIgnoresLatePresses) {
    const EventHotKeyRef ref = bind(15, control, 1);
    typeAndAwaitEvent(keys);
    keys.UnregisterEventHotKey(ref);
    EXPECT_THAT(presses(), ElementsAre());
    std::optional<HotKeys> gone(std::in_place, queue, server.displayName());
    gone->InstallEventHandler([](EventHotKeyID) { FAIL(); });
    ASSERT_NE(gone->RegisterEventHotKey(15, control, {1, 7}, {}), 0U);
    typeAndAwaitEvent(*gone);
    gone.reset();
    ASSERT_TRUE(eventually([&] { return bind(15, control, 1) != 0; })) << "still grabbed";
    EXPECT_THAT(presses(), ElementsAre());
}

class ButtonWatchTests : public InputTests {
 protected:
    std::unique_ptr<NSEventMonitor> monitor() {
        return watch->addMouseDownMonitor([this](bool secondary) { clicks.push_back(secondary); });
    }
    bool awaitClicks(std::size_t count) {
        return runUntil([&] { return clicks.size() >= count; });
    }

    std::optional<ButtonWatch> watch{std::in_place, queue, server.displayName()};
    std::vector<bool> clicks;
};

TEST_F(ButtonWatchTests, ReportsLeftAndRightInEveryWindow) {
    const test::TestWindow window(server.displayName(), {.frame = {100, 0, 100, 200}});
    const auto monitoring = monitor();
    for (const char* x : {"20", "150"}) {
        clicks.clear();
        type({"mousemove", x, "50", "click", "2", "click", "1", "click", "4", "click", "3", "mousedown", "1",
              "mousemove", "60", "60", "mouseup", "1"});
        ASSERT_TRUE(awaitClicks(3)) << x;
        EXPECT_THAT(clicks, ElementsAre(false, true, false)) << x;
    }
}

TEST_F(ButtonWatchTests, FollowsTheButtonMapping) {
    const auto monitoring = monitor();
    const std::uint64_t before = watch->eventCount();
    tool({"xmodmap", "-e", "pointer = 3 2 1"});
    ASSERT_TRUE(eventually([&] { return watch->eventCount() > before; }));
    type({"click", "1", "click", "3"});
    ASSERT_TRUE(awaitClicks(2));
    EXPECT_THAT(clicks, ElementsAre(true, false));
}

TEST_F(ButtonWatchTests, SelectsEventsOnlyWhileThereIsAMonitor) {
    std::vector<bool> others;
    auto first = monitor();
    std::unique_ptr<NSEventMonitor> second = watch->addMouseDownMonitor([&](bool secondary) {
        others.push_back(secondary);
        second.reset();
    });
    type({"click", "1", "click", "3"});
    ASSERT_TRUE(awaitClicks(2));
    EXPECT_THAT(others, ElementsAre(false));
    first.reset();

    const std::uint64_t before = watch->eventCount();
    type({"click", "1"});
    first = monitor();
    type({"click", "3"});
    ASSERT_TRUE(awaitClicks(3));
    EXPECT_THAT(clicks, ElementsAre(false, true, true));
    EXPECT_EQ(watch->eventCount(), before + 1);
    // The watch is destroyed before its posted click runs.
    type({"click", "1"});
    ASSERT_TRUE(eventually([&] { return watch->eventCount() == before + 2; }));
    watch.reset();
    queue.drain();
    EXPECT_EQ(clicks.size(), 3U);
}

/// The labels of presses in the layouts of a real keyboard.
class PressWatchTests : public InputTests {
 protected:
    std::unique_ptr<NSEventMonitor> monitor() {
        return watch.addGlobalMonitor([this](const NSGlobalEvent& press) {
            if (const auto label = keystrokeLabel(press, showsTypedText)) labels.push_back(label->text);
        });
    }
    /// All labels until now: those before one of our own.
    std::vector<std::string> shown() {
        type({"key", "F12"});
        EXPECT_TRUE(runUntil([&] { return !labels.empty() && labels.back() == "F12"; }));
        if (!labels.empty()) labels.pop_back();
        return std::exchange(labels, {});
    }
    void chooseLayout(const std::string& layout, const std::string& variant = {}) const {
        tool({"setxkbmap", layout, variant});
    }
    /// Presses every key that types a character, each with these modifiers.
    void typeAll(const std::vector<std::string>& modifiers) const {
        std::vector<std::string> words;
        for (const std::string& each : modifiers)
            words.insert(words.end(), {"keydown", each});
        words.insert(words.end(), {"key", "--delay", "1"});
        for (int key = 10; key <= 94; ++key) {
            const bool isCharacter = key <= 21 || (key >= 24 && key <= 35) || (key >= 38 && key <= 49) ||
                                     (key >= 51 && key <= 61) || key == 65 || key == 94;
            if (isCharacter) words.push_back(std::to_string(key));
        }
        for (const std::string& each : modifiers)
            words.insert(words.end(), {"keyup", each});
        type(words);
    }

    PressWatch watch{queue, server.displayName()};
    bool showsTypedText = false;
    std::vector<std::string> labels;
};

TEST_F(PressWatchTests, NamesCommandsByTheLayoutAndNoTypedCharacter) {
    const struct {
        const char* layout;
        const char* variant;
        std::vector<std::pair<std::vector<std::string>, const char*>> presses;
    } layouts[] = {
        {"us",
         "",
         {{{"Control_L", "39"}, "Ctrl+S"}, {{"Alt_L", "Shift_L", "23"}, "Alt+Shift+Tab"}, {{"113"}, "←"}}},
        {"us", "intl", {{{"Control_L", "38"}, "Ctrl+A"}}},
        {"de",
         "",
         {{{"Control_L", "29"}, "Ctrl+Z"},
          {{"Control_L", "34"}, "Ctrl+Ü"},
          {{"Super_L", "65"}, "Super+Space"}}},
        {"de", "neo", {{{"94", "39"}, "←"}}},
        {"fr", "", {{{"Control_L", "24"}, "Ctrl+A"}, {{"Control_L", "Shift_L", "10"}, "Ctrl+Shift+&"}}},
        {"ru", "", {{{"Control_L", "54"}, "Ctrl+С"}, {{"71"}, "F5"}}},
        {"gr", "", {{{"Control_L", "39"}, "Ctrl+Σ"}, {{"Escape"}, "Esc"}}},
    };
    const auto monitoring = monitor();
    for (const auto& [layout, variant, presses] : layouts) {
        SCOPED_TRACE(std::string(layout) + variant);
        chooseLayout(layout, variant);
        for (const auto& [keys, label] : presses) {
            std::vector<std::string> words;
            for (const std::string& each : keys)
                words.insert(words.end(), {"keydown", each});
            for (auto each = keys.rbegin(); each != keys.rend(); ++each)
                words.insert(words.end(), {"keyup", *each});
            type(words);
            EXPECT_THAT(shown(), ElementsAre(label));
        }
        for (const std::vector<std::string>& modifiers : {std::vector<std::string>{},
                                                          {"Shift_L"},
                                                          {"ISO_Level3_Shift"},
                                                          {"ISO_Level3_Shift", "Shift_L"}}) {
            typeAll(modifiers);
            EXPECT_THAT(shown(), ElementsAre());
        }
    }
}

TEST_F(PressWatchTests, FollowsGroupsLocksAndButtons) {
    // Of the key sequences. The watching thread reads it, so it is chosen before.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    const auto monitoring = monitor();
    tool({"setxkbmap", "ru,us"});
    type({"key", "ctrl+54"});
    EXPECT_THAT(shown(), ElementsAre("Ctrl+C")) << "as programs understand it";
    showsTypedText = true;
    // The tool chooses the group.
    type({"type", "cсС"});
    EXPECT_THAT(shown(), ElementsAre("c", "с", "С"));
    type({"key", "87", "Num_Lock", "87", "ctrl+87", "Num_Lock"});
    EXPECT_THAT(shown(), ElementsAre("End", "1", "Ctrl+1"));
    type({"click", "1", "keydown", "Control_L", "click", "1", "click", "3", "click", "4", "keyup",
          "Control_L"});
    EXPECT_THAT(shown(), ElementsAre("Ctrl+Click", "Ctrl+Right Click"));
    tool({"setxkbmap", "us", "intl"});
    type({"key", "48", "26", "25"});
    EXPECT_THAT(shown(), ElementsAre("é", "w"));
}

TEST_F(PressWatchTests, AHeldKeyIsOnePressAndAGrabHidesNone) {
    const auto monitoring = monitor();
    tool({"xset", "r", "rate", "100", "50"});
    type({"keydown", "F5", "sleep", "0.3", "keyup", "F5"});
    EXPECT_THAT(shown(), ElementsAre("F5"));
    const Connection other(server.displayName());
    other.await(xcb_grab_keyboard_reply, xcb_grab_keyboard(other.get(), 1, other.root(), XCB_CURRENT_TIME,
                                                           XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    type({"key", "ctrl+s"});
    EXPECT_THAT(shown(), ElementsAre("Ctrl+S"));
    EXPECT_THROW(PressWatch(queue, ":4711").addGlobalMonitor({}), PlatformError);
}

/// Posted work runs while waiting; the clock is advanced by hand, as if each position waited for its turn.
TEST_F(InputTests, ThePointerIsFollowed) {
    type({"mousemove", "10", "20"});
    PointerFollower follower(queue, server.displayName());
    std::vector<NSPointerEvent> events;
    auto monitor = follower.addPointerMonitor([&](const NSPointerEvent& event) { events.push_back(event); });
    const auto last = [&] { return events.back().pixel; };
    ASSERT_THAT(events, testing::SizeIs(1));
    EXPECT_EQ(last(), (Point{10, 20}));
    const auto reaches = [&](Point pixel) {
        return eventually([&] {
            queue.advance(std::chrono::milliseconds(40));
            return last() == pixel;
        });
    };
    // Absolute moves of xdotool are warps, of which the server sends no motion.
    type({"mousemove_relative", "40", "40"});
    ASSERT_TRUE(reaches({50, 60}));
    // Each position waits for its turn: of many, some are reported, and the last one.
    for (int i = 0; i < 20; ++i)
        type(
            {"mousemove_relative", "3", "1", "mousemove_relative", "1", "1", "mousemove_relative", "1", "1"});
    ASSERT_TRUE(reaches({150, 120}));
    const std::size_t moved = events.size();
    EXPECT_LE(moved, 42U);
    tool({"xmodmap", "-e", "pointer = 3 2 1"});
    type({"click", "1", "click", "4", "click", "2"});
    ASSERT_TRUE(runUntil([&] { return events.size() >= moved + 2; }));
    EXPECT_EQ(events[moved].button, 3);
    EXPECT_EQ(events[moved + 1].button, 2);
    EXPECT_EQ(last(), (Point{150, 120}));
    type({"mousemove", "7", "8", "click", "2"});
    ASSERT_TRUE(runUntil([&] { return events.size() >= moved + 4; }));
    EXPECT_EQ(events[moved + 2].button, 0) << "a position that only the press tells of";
    EXPECT_EQ(events[moved + 2].pixel, (Point{7, 8}));
    EXPECT_TRUE(std::ranges::is_sorted(events, [](const auto& a, const auto& b) { return a.time < b.time; }));
    const std::size_t all = events.size();
    type({"mousemove", "5", "5", "click", "1"});
    monitor.reset();
    queue.advance(std::chrono::seconds(1));
    EXPECT_EQ(events.size(), all);
}

TEST_F(PressWatchTests, ReleasesAndModifiersAreReportedWithoutWhatIsTyped) {
    using Source = NSGlobalEvent::Source;
    std::string keys, flags;
    const auto monitoring = watch.addGlobalMonitor([&](const NSGlobalEvent& event) {
        if (event.source == Source::modifiers) {
            flags += event.event.modifierFlags == 0                      ? "-"
                     : event.event.modifierFlags == NSEvent::controlFlag ? "C"
                                                                         : "+";
        } else {
            const bool isKey = event.source == Source::key;
            keys += (event.isUp ? " -" : " ") + (isKey ? std::to_string(event.code) : "button");
        }
        if (!event.isUp && event.source != Source::modifiers) return;
        EXPECT_TRUE(event.characters.empty() && event.symbol == 0 && event.event.keyName.empty());
    });
    // Control, s, Shift, a held one that repeats, a button.
    tool({"xset", "r", "rate", "100", "50"});
    type({"keydown", "37", "keydown", "39",  "keyup", "39", "keydown",   "50", "keyup",   "50", "keyup", "37",
          "keydown", "38", "sleep",   "0.3", "keyup", "38", "mousedown", "3",  "mouseup", "3"});
    EXPECT_TRUE(runUntil([&] { return keys.ends_with("-button"); }));
    EXPECT_EQ(keys, " 37 39 -39 50 -50 -37 38 -38 button -button");
    EXPECT_EQ(flags, "C+C-");
}

TEST_F(HotKeysTests, HotKeysAndButtonWatchSurviveALostServer) {
    EXPECT_THROW(HotKeys(queue, ":4711"), PlatformError);
    EXPECT_THROW(ButtonWatch(queue, ":4711"), PlatformError);
    ButtonWatch watch(queue, server.displayName());
    auto monitor = watch.addMouseDownMonitor([](bool) {});
    const EventHotKeyRef ref = bind(15, control, 1);
    server.kill();
    EXPECT_EQ(bind(35, control, 1), 0U);
    keys.UnregisterEventHotKey(ref);
    monitor.reset();
    monitor = watch.addMouseDownMonitor([](bool) {});
}

}  // namespace
}  // namespace lumicrate::x11
