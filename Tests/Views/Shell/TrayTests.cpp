// SPDX-License-Identifier: GPL-3.0-or-later
// The tray icon, in a tray on the session bus and in a tray of windows.
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Views/Shell/NotifierHost.h"
#include "Views/Shell/TrayIcon.h"

#include <QApplication>
#include <QPixmap>
#include <QScreen>

namespace lumicrate::test {
namespace {

constexpr QRgb red = 0xffff453a;
constexpr QRgb orange = 0xffffb340;
constexpr QRgb white = 0xfff2f2f4;

/// The bounds of all pixels on the screen of about that colour.
QRect find(const QColor& color) {
    const QImage image = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    QRect found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor seen = image.pixelColor(x, y);
            const int difference = std::abs(seen.red() - color.red()) +
                                   std::abs(seen.green() - color.green()) +
                                   std::abs(seen.blue() - color.blue());
            if (difference < 30) found |= QRect(x, y, 1, 1);
        }
    }
    return found;
}

class TrayTests : public RecorderFixture {
 protected:
    /// The panel starts after the program in all tests.
    void SetUp() override { EXPECT_FALSE(tray.isShown()); }

    int quits = 0;
    MenuBar menuBar{make(), makeReplay(), defaults, {[] {}, [] {}, [] {}, [] {}, [this] { ++quits; }}};
    const views::TrayIcon tray{menuBar, *recorder};
};

TEST_F(TrayTests, OnTheBusIconAndMenuFollowTheRecorder) {
    NotifierHost panel;
    ASSERT_TRUE(await([&] { return panel.hasItem(); }));
    EXPECT_TRUE(tray.isShown());
    EXPECT_EQ(panel.toolTip(), "Lumicrate");
    EXPECT_TRUE(panel.menuHas("Start Recording"));

    record();
    EXPECT_TRUE(await([&] { return panel.toolTip() == "Lumicrate – Recording"; }));
    EXPECT_TRUE(panel.menuShowsShortcut("Pause Recording"));
    defaults.set("shortcut.pause", std::string("off"));
    EXPECT_FALSE(panel.menuShowsShortcut("Pause Recording"));
    executor.advance(61s);
    EXPECT_TRUE(await([&] { return panel.menuHas("Recording 01:01"); }));
    ASSERT_TRUE(panel.choose("Pause Recording"));
    EXPECT_TRUE(await([&] { return *recorder->state == State::paused; }));
    panel.activateSecondary();
    EXPECT_TRUE(await([&] {
        executor.drain();
        return *recorder->state == State::stopping;
    }));
    complete();
    ASSERT_TRUE(panel.choose("Quit Lumicrate"));
    EXPECT_TRUE(await([&] { return quits == 1; }));
}

TEST_F(TrayTests, OfWindowsIconAndMenuAreShown) {
    record();
    ASSERT_TRUE(find(red).isNull());
    stage::ChildProcess panel({"trayer", "--edge", "top", "--align", "right", "--width", "10", "--height",
                               "32", "--tint", "0x0000ff"});
    ASSERT_TRUE(await([] { return find(red).width() > 8; }));
    EXPECT_TRUE(tray.isShown());
    recorder->togglePause();
    EXPECT_TRUE(await([] { return find(orange).width() > 8; }));
    stopAndComplete();
    EXPECT_TRUE(await([] { return find(white).width() > 8; }));
    EXPECT_LT(find(white).width(), 32) << "the panel has that colour too";
    const QPoint icon = find(white).center();
    stage::runProgram(
        {"xdotool", "mousemove", std::to_string(icon.x()), std::to_string(icon.y() + 6), "click", "3"});
    ASSERT_TRUE(await([] { return QApplication::activePopupWidget() != nullptr; }));
    // The last item of the menu.
    stage::runProgram({"xdotool", "key", "Up", "Return"});
    EXPECT_TRUE(await([&] { return quits == 1; }));
}

}  // namespace
}  // namespace lumicrate::test
