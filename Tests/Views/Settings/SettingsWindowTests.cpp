#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Views/Settings/SettingsStage.h"
#include "Views/Shell/AboutWindow.h"
#include "Views/Shell/PermissionWindow.h"
#include "Views/Shell/SingleWindow.h"
#include "Views/Shell/WelcomeWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPointer>
#include <QTest>

namespace lumicrate::test {
namespace {

using views::SettingsWindow;
using views::SingleWindow;

void type(const std::string& keys) {
    stage::runProgram({"xdotool", "key", keys});
}

template <class Widget>
Widget* named(QWidget& window, const QString& beginning) {
    for (auto* each : window.findChildren<Widget*>()) {
        if (each->accessibleName().startsWith(beginning)) return each;
    }
    ADD_FAILURE() << "no control is called " << beginning.toStdString();
    return nullptr;
}

bool says(QWidget& window, const QString& text) {
    const auto labels = window.findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](QLabel* each) { return each->isVisible() && each->text() == text; });
}

class SettingsWindowTests : public testing::Test {
 protected:
    SettingsWindow& open() {
        auto& window = static_cast<SettingsWindow&>(
            windows->show("settings", [this] { return std::make_unique<SettingsWindow>(settings.model()); }));
        EXPECT_TRUE(await([&] { return window.isActiveWindow(); }));
        return window;
    }

    /// Windows go when they have not got the focus, so that the window manager does not move it once more
    /// under the next test.
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

    static inline std::unique_ptr<QWidget> desk;
    SettingsStage settings;
    std::optional<SingleWindow> windows{std::in_place};
};

TEST_F(SettingsWindowTests, AShortcutIsTypedOnRealKeys) {
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
        {"ctrl+F1", "Type shortcut…", "This key can’t be used in a shortcut."},
        {"space", "Type shortcut…", "Include ⌘, ⌥ or ⌃ (or use a function key)."},
        {"Escape", "⌥⌘1", ""},
        {"F5", "F5", ""},
        {"ctrl+w", "Type shortcut…", "This key can’t be used in a shortcut."},
        {"ctrl+shift+1", "⌃⇧1", ""},
        {"Delete", "None", ""},
        {"BackSpace", "None", ""},
    };
    for (const auto& [keys, label, message] : cases) {
        if (button->text() != "Type shortcut…") button->click();
        ASSERT_EQ(button->text(), "Type shortcut…");
        const int beeps = settings.beeps;
        const bool refused = *message != 0;
        type(keys);
        EXPECT_TRUE(await([&] { return refused ? settings.beeps > beeps : button->text() == label; }))
            << keys;
        EXPECT_EQ(button->text(), label) << keys;
        EXPECT_TRUE(!refused || says(window, message)) << keys;
        EXPECT_EQ(settings.hotKeys.grabs.empty(), refused) << keys;
        EXPECT_TRUE(window.isVisible()) << keys << " closed the window";
    }
    named<QAbstractButton>(window, "Start / stop: Restore")->click();
    EXPECT_EQ(button->text(), "⌥⌘R");

    button->click();
    window.showPage(SettingsModel::Page::audio);
    EXPECT_EQ(settings.hotKeys.grabs.size(), 3U) << "a field that is not seen does not listen";
    type("Escape");
    EXPECT_TRUE(await([&] { return !window.isVisible(); })) << "Escape belongs to the window again";
}

TEST_F(SettingsWindowTests, AnotherWindowsComingEndsListening) {
    SettingsWindow& window = open();
    window.showPage(SettingsModel::Page::shortcuts);
    auto* button = named<QAbstractButton>(window, "Record area: Alt");
    button->click();
    EXPECT_TRUE(settings.hotKeys.grabs.empty());
    QWidget other;
    other.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&other));
    other.activateWindow();
    EXPECT_TRUE(await([&] { return settings.hotKeys.grabs.size() == 3; }));
    settings.unavailable = std::vector<std::string>{"⌥⌘R"};
    EXPECT_TRUE(says(window, "Another app is using ⌥⌘R. Pick a different shortcut."));
}

TEST_F(SettingsWindowTests, ControlsWriteAtOnceAndFollow) {
    SettingsWindow& window = open();
    auto* countdown = named<QCheckBox>(window, "Count down");
    EXPECT_TRUE(countdown->isChecked());
    QTest::keyClick(countdown, Qt::Key_Space);
    EXPECT_FALSE(settings.defaults.boolForKey("countdown"));
    settings.defaults.set("countdown", true);
    EXPECT_TRUE(countdown->isChecked());

    auto* rate = named<QComboBox>(window, "Frames");
    EXPECT_EQ(rate->currentText(), "30");
    QTest::keyClick(rate, Qt::Key_Down);
    EXPECT_EQ(settings.defaults.integerForKey("fps"), 60);
    settings.defaults.set("fps", std::int64_t{24});
    EXPECT_EQ(rate->currentText(), "24");

    settings.defaults.readOnly = true;
    QTest::keyClick(countdown, Qt::Key_Space);
    EXPECT_TRUE(countdown->isChecked());
    EXPECT_TRUE(says(window, "The preferences can't be written."));
    settings.defaults.readOnly = false;
    QTest::keyClick(countdown, Qt::Key_Space);
    EXPECT_FALSE(says(window, "The preferences can't be written."));

    settings.login.refuses = true;
    auto* login = named<QCheckBox>(window, "Start Lumicrate");
    QTest::keyClick(login, Qt::Key_Space);
    EXPECT_FALSE(login->isChecked());
    EXPECT_TRUE(says(window, "The autostart entry can't be written."));
    named<QAbstractButton>(window, "Open the folder")->click();
    EXPECT_TRUE(says(window, "There is no file viewer to open it with."));
}

TEST_F(SettingsWindowTests, TheMenuOfMicrophonesFollowsThem) {
    settings.defaults.set("microphoneID", std::string("usb"));
    SettingsWindow& window = open();
    auto* box = named<QComboBox>(window, "Microphone");
    EXPECT_EQ(box->currentText(), "A microphone that is not connected");
    settings.microphones = std::vector<CaptureDevice>{{"card", "Built-in"}, {"usb", "Desk"}};
    EXPECT_TRUE(await([&] { return box->currentText() == "Desk"; }));
    settings.microphones = std::vector<CaptureDevice>{{"card", "Built-in"}};
    EXPECT_TRUE(await([&] { return box->currentText() == "A microphone that is not connected"; }));
    box->setFocus();
    QTest::keyClick(box, Qt::Key_Up);
    EXPECT_EQ(settings.defaults.stringForKey("microphoneID"), "card");
    EXPECT_TRUE(await([&] { return box->count() == 2; })) << "what was not connected is no choice any more";
    EXPECT_EQ(box->currentText(), "Built-in");
}

TEST_F(SettingsWindowTests, EveryControlHasANameAndComesByTheTabKey) {
    SettingsWindow& window = open();
    for (auto* each : window.findChildren<QAbstractButton*>()) {
        EXPECT_FALSE(each->accessibleName().isEmpty());
        EXPECT_TRUE((each->focusPolicy() & Qt::TabFocus) != 0) << each->accessibleName().toStdString();
    }
}

TEST_F(SettingsWindowTests, ThereIsOneWindowOfAKind) {
    QPointer<QWidget> first = &open();
    EXPECT_EQ(&open(), first);
    first->close();
    EXPECT_FALSE(first.isNull()) << "the loop has not come to it yet";
    QWidget* second = &open();
    EXPECT_TRUE(await([&] { return first.isNull(); }));
    second->showMinimized();
    EXPECT_TRUE(await([&] { return second->isMinimized() && !second->isActiveWindow(); }));
    EXPECT_EQ(&open(), second);
    EXPECT_FALSE(second->isMinimized());
}

TEST_F(SettingsWindowTests, TheWelcomeCountsAsShownOnceItIsClosed) {
    auto& window = windows->show("welcome", [this] {
        return std::make_unique<views::WelcomeWindow>(std::make_unique<Welcome>(
            settings.defaults, settings.login, "/home/me/Videos/Lumicrate", "/home/me"));
    });
    EXPECT_TRUE(await([&] { return window.isActiveWindow(); }));
    window.findChild<QCheckBox*>()->click();
    EXPECT_TRUE(settings.login.enabled);
    EXPECT_TRUE(Welcome::isDue(settings.defaults));
    type("Return");
    EXPECT_TRUE(await([&] { return !Welcome::isDue(settings.defaults); }));
    EXPECT_FALSE(window.isVisible());
}

TEST_F(SettingsWindowTests, WhatIsMissingIsSaidUntilItIsThere) {
    Permissions::Facts facts{false, false};
    Permissions* told = nullptr;
    Permissions permissions(facts, [&] { told->update(facts); });
    told = &permissions;
    auto& window =
        windows->show("permissions", [&] { return std::make_unique<views::PermissionWindow>(permissions); });
    EXPECT_TRUE(await([&] { return window.isActiveWindow(); }));
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

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    lumicrate::stage::PrivateDesktop::Options options;
    options.sound = false;
    const lumicrate::stage::PrivateDesktop desktop(options);
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
