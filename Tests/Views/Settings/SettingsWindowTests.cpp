// SPDX-License-Identifier: GPL-3.0-or-later
// The settings window and the small windows with messages, under real keys.
#include "App/QtExecutor.h"
#include "Linux/X11/Input/HotKeys.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Settings/SettingsModel.h"
#include "Lumicrate/Shell/Welcome.h"
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Stage/ChildProcess.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Settings/SettingsWindow.h"
#include "Views/Shell/MessageWindows.h"
#include "Views/Shell/SingleWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <algorithm>
#include <tuple>

namespace lumicrate::test {
namespace {

using views::SettingsWindow;
using views::SingleWindow;

void type(const std::string& keys) {
    stage::runProgram({"xdotool", "key", keys});
}

template <class Widget>
Widget* named(QWidget& window, const QString& beginning) {
    for (auto* widget : window.findChildren<Widget*>())
        if (widget->accessibleName().startsWith(beginning)) return widget;
    ADD_FAILURE() << "no control is called " << beginning.toStdString();
    return nullptr;
}

bool says(QWidget& window, const QString& text) {
    return std::ranges::any_of(window.findChildren<QLabel*>(),
                               [&](QLabel* label) { return label->isVisible() && label->text() == text; });
}

class SettingsWindowTests : public testing::Test {
 protected:
    SettingsWindowTests() { RecordingOptions::registerDefaults(defaults); }

    /// Deletes windows when they are not active, so that the window manager does not move the focus again in
    /// the next test.
    void TearDown() override {
        desk->activateWindow();
        EXPECT_TRUE(await([] { return desk->isActiveWindow(); }));
        windows.reset();
    }
    static void SetUpTestSuite() {
        desk = std::make_unique<QWidget>();
        desk->show();
        EXPECT_TRUE(await([] { return desk->isActiveWindow(); }));
    }
    static void TearDownTestSuite() { desk.reset(); }

    QWidget& show(const std::string& kind, const std::function<std::unique_ptr<QWidget>()>& make) {
        QWidget& window = windows->show(kind, make);
        EXPECT_TRUE(await([&] { return window.isActiveWindow(); }));
        return window;
    }
    SettingsWindow& open() {
        const auto make = [this] {
            return std::make_unique<SettingsWindow>(std::make_unique<SettingsModel>(SettingsModel::Services{
                {defaults, center, monitor,
                 [this] { bindShortcuts(center, defaults, [](ShortcutAction) {}); }, [this] { ++beeps; }},
                login,
                microphones,
                cameras,
                unavailable,
                missing,
                folder,
                "/home/me",
                [] { throw PlatformError("There is no file viewer to open it with."); }}));
        };
        return static_cast<SettingsWindow&>(show("settings", make));
    }

    static inline std::unique_ptr<QWidget> desk;
    FakeDefaults defaults;
    FakeFiles files;
    FakeCalendar calendar;
    RecordingFolder folder{files, calendar, defaults};
    FakeHotKeys hotKeys;
    HotKeyCenter center{hotKeys};
    app::QtExecutor executor;
    x11::HotKeys keyboard{executor};
    views::KeyMonitor monitor{{[this](std::uint32_t key) { return keyboard.keysymOf(key); },
                               [this](std::uint32_t key) { return keyboard.virtualKeyCodeOf(key); }}};
    FakeLoginService login;
    Published<std::vector<CaptureDevice>> microphones, cameras;
    Published<std::vector<std::string>> unavailable, missing;
    int beeps = 0;
    std::optional<SingleWindow> windows{std::in_place};
};

TEST_F(SettingsWindowTests, OnlyAValidCommandIsStored) {
    SettingsWindow& window = open();
    auto* field = named<QLineEdit>(window, "Run after saving");
    ASSERT_NE(field, nullptr);
    for (const auto& [text, stored, message] :
         {std::tuple("mv 'a b", "", "The command has a quote that is not closed."),
          std::tuple(" mv 'a b' ", "mv 'a b'", ""), std::tuple("", "", "")}) {
        field->clear();
        QTest::keyClicks(field, text);
        QTest::keyClick(field, Qt::Key_Return);
        EXPECT_EQ(defaults.stringForKey("afterSave").value_or(""), stored);
        EXPECT_TRUE(*message == 0 || says(window, message));
    }
}

TEST_F(SettingsWindowTests, AboutCopiesTheDiagnostics) {
    std::function<void(const std::string&)> collected;
    const auto make = [&] {
        return std::make_unique<views::AboutWindow>(
            AppInfo(), "~", [] {}, [](const std::string&) {},
            [&](auto done) { collected = std::move(done); });
    };
    QWidget& window = show("about", make);
    auto buttons = window.findChildren<QPushButton*>();
    const auto found = std::ranges::find(buttons, QString("Copy Diagnostics"), &QPushButton::text);
    ASSERT_NE(found, buttons.end());
    QPushButton& button = **found;
    for (const std::string& report : {std::string("Lumicrate 1\nä"), std::string()}) {
        button.click();
        EXPECT_FALSE(button.isEnabled());
        collected(report);
        EXPECT_TRUE(button.isEnabled());
        EXPECT_EQ(button.text(), report.empty() ? "Copy Diagnostics" : "Copied");
        EXPECT_EQ(QGuiApplication::clipboard()->text(), "Lumicrate 1\nä");
    }
    EXPECT_TRUE(says(window, "The diagnostics couldn’t be collected."));
    button.click();
    TearDown();
    collected("The window is gone.");
}

TEST_F(SettingsWindowTests, AShortcutIsTypedOnTheKeyboard) {
    SettingsWindow& window = open();
    window.showPage(SettingsModel::Page::shortcuts);
    auto* button = named<QAbstractButton>(window, "Start / stop: Alt");
    ASSERT_NE(button, nullptr);
    struct {
        const char* keys;
        const char* label;  ///< afterwards
        const char* message;
    } const cases[] = {
        {"ctrl+shift+t", "⌃⇧T", ""},
        {"super+alt+1", "⌥⌘1", ""},
        {"shift+k", "Type shortcut…", "Include ⌘, ⌥ or ⌃ (or use a function key)."},
        {"super+alt+p", "Type shortcut…", "⌥⌘P is already used for Pause / resume."},
        {"ctrl+Print", "Type shortcut…", "This key can’t be used in a shortcut."},
        {"space", "Type shortcut…", "Include ⌘, ⌥ or ⌃ (or use a function key)."},
        {"Escape", "⌥⌘1", ""},
        {"F5", "F5", ""},
        {"ctrl+w", "⌃W", ""},
        {"ctrl+shift+1", "⌃⇧1", ""},
        {"Delete", "None", ""},
        {"BackSpace", "None", ""},
    };
    for (const auto& [keys, label, message] : cases) {
        if (button->text() != "Type shortcut…") button->click();
        ASSERT_EQ(button->text(), "Type shortcut…");
        const int before = beeps;
        const bool refused = *message != 0;
        type(keys);
        EXPECT_TRUE(await([&] { return refused ? beeps > before : button->text() == label; })) << keys;
        EXPECT_EQ(button->text(), label) << keys;
        EXPECT_TRUE(!refused || says(window, message)) << keys;
        EXPECT_EQ(hotKeys.grabs.empty(), refused) << keys;
        EXPECT_TRUE(window.isVisible()) << keys << " closed the window";
    }
    named<QAbstractButton>(window, "Start / stop: Restore")->click();
    EXPECT_EQ(button->text(), "⌥⌘R");

    button->click();
    window.showPage(SettingsModel::Page::audio);
    EXPECT_EQ(hotKeys.grabs.size(), 3U) << "a hidden field does not listen";
    type("Escape");
    EXPECT_TRUE(await([&] { return !window.isVisible(); })) << "Escape closes the window again";
}

TEST_F(SettingsWindowTests, ActivatingAnotherWindowEndsListening) {
    SettingsWindow& window = open();
    window.showPage(SettingsModel::Page::shortcuts);
    auto* button = named<QAbstractButton>(window, "Record area: Alt");
    button->click();
    EXPECT_TRUE(hotKeys.grabs.empty());
    QWidget other;
    other.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&other));
    other.activateWindow();
    EXPECT_TRUE(await([&] { return hotKeys.grabs.size() == 3; }));
    unavailable = std::vector<std::string>{"⌥⌘R"};
    EXPECT_TRUE(says(window, "Another app is using ⌥⌘R. Pick a different shortcut."));
}

TEST_F(SettingsWindowTests, ControlsStoreAtOnceAndFollowThePreferences) {
    SettingsWindow& window = open();
    auto* countdown = named<QCheckBox>(window, "3-second");
    EXPECT_TRUE(countdown->isChecked());
    QTest::keyClick(countdown, Qt::Key_Space);
    EXPECT_FALSE(defaults.boolForKey("countdown"));
    defaults.set("countdown", true);
    EXPECT_TRUE(countdown->isChecked());

    auto* rate = named<QComboBox>(window, "Frames");
    EXPECT_EQ(rate->currentText(), "30");
    QTest::keyClick(rate, Qt::Key_Down);
    EXPECT_EQ(defaults.integerForKey("fps"), 60);
    defaults.set("fps", std::int64_t{24});
    EXPECT_EQ(rate->currentText(), "24");

    defaults.readOnly = true;
    QTest::keyClick(countdown, Qt::Key_Space);
    EXPECT_TRUE(countdown->isChecked());
    EXPECT_TRUE(says(window, "The preferences can't be written."));
    defaults.readOnly = false;
    QTest::keyClick(countdown, Qt::Key_Space);
    EXPECT_FALSE(says(window, "The preferences can't be written."));

    login.refuses = true;
    auto* loginSwitch = named<QCheckBox>(window, "Start Lumicrate");
    QTest::keyClick(loginSwitch, Qt::Key_Space);
    EXPECT_FALSE(loginSwitch->isChecked());
    EXPECT_TRUE(says(window, "The autostart entry can't be written."));
    named<QAbstractButton>(window, "Open the folder")->click();
    EXPECT_TRUE(says(window, "There is no file viewer to open it with."));
}

TEST_F(SettingsWindowTests, TheMicrophoneMenuFollowsTheDevices) {
    defaults.set("microphoneID", std::string("usb"));
    SettingsWindow& window = open();
    auto* box = named<QComboBox>(window, "Microphone");
    EXPECT_EQ(box->currentText(), "A microphone that is not connected");
    microphones = std::vector<CaptureDevice>{{"card", "Built-in"}, {"usb", "Desk"}};
    EXPECT_TRUE(await([&] { return box->currentText() == "Desk"; }));
    microphones = std::vector<CaptureDevice>{{"card", "Built-in"}};
    EXPECT_TRUE(await([&] { return box->currentText() == "A microphone that is not connected"; }));
    box->setFocus();
    QTest::keyClick(box, Qt::Key_Up);
    EXPECT_EQ(defaults.stringForKey("microphoneID"), "card");
    EXPECT_TRUE(await([&] { return box->count() == 2; })) << "the missing microphone is no longer offered";
    EXPECT_EQ(box->currentText(), "Built-in");
}

TEST_F(SettingsWindowTests, EveryControlHasANameAndIsFocusableByTab) {
    SettingsWindow& window = open();
    for (auto* each : window.findChildren<QAbstractButton*>()) {
        EXPECT_FALSE(each->accessibleName().isEmpty());
        EXPECT_TRUE((each->focusPolicy() & Qt::TabFocus) != 0) << each->accessibleName().toStdString();
    }
}

TEST_F(SettingsWindowTests, ThereIsOneWindowOfEachKind) {
    QPointer<QWidget> first = &open();
    EXPECT_EQ(&open(), first);
    first->close();
    EXPECT_FALSE(first.isNull()) << "deleted by the event loop";
    QWidget* second = &open();
    EXPECT_TRUE(await([&] { return first.isNull(); }));
    second->showMinimized();
    EXPECT_TRUE(await([&] { return second->isMinimized() && !second->isActiveWindow(); }));
    EXPECT_EQ(&open(), second);
    EXPECT_FALSE(second->isMinimized());
}

TEST_F(SettingsWindowTests, TheWelcomeCountsAsShownOnceItIsClosed) {
    auto& window = show("welcome", [this] {
        return std::make_unique<views::WelcomeWindow>(
            std::make_unique<Welcome>(defaults, login, "/home/me/Videos/Lumicrate", "/home/me", nullptr));
    });
    window.findChild<QCheckBox*>()->click();
    EXPECT_TRUE(login.enabled);
    EXPECT_TRUE(Welcome::isDue(defaults));
    type("Return");
    EXPECT_TRUE(await([&] { return !Welcome::isDue(defaults); }));
    EXPECT_FALSE(window.isVisible());
}

TEST_F(SettingsWindowTests, MissingPermissionsAreListedUntilTheyAreThere) {
    Permissions::Facts facts{false, false};
    Permissions permissions(facts, [&] { permissions.update(facts); });
    auto& window =
        show("permissions", [&] { return std::make_unique<views::PermissionWindow>(permissions); });
    EXPECT_TRUE(says(window, "Sound can’t be reached"));
    facts.screenReachable = true;
    type("Return");
    EXPECT_TRUE(await([&] { return says(window, "Better, but not everything is there yet."); }));
    EXPECT_FALSE(says(window, "The screen can’t be reached"));
    facts.soundReachable = true;
    type("Return");
    EXPECT_TRUE(await([&] { return !window.isVisible(); }));
}

}  // namespace
}  // namespace lumicrate::test
