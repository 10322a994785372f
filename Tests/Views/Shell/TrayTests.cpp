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

/// The number of pixels of about that colour, and their bounds.
std::pair<int, QRect> find(const QImage& image, const QColor& color) {
    std::pair<int, QRect> found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor seen = image.pixelColor(x, y);
            const int difference = std::abs(seen.red() - color.red()) +
                                   std::abs(seen.green() - color.green()) +
                                   std::abs(seen.blue() - color.blue());
            if (difference >= 30 || seen.alpha() <= 200) continue;
            ++found.first;
            found.second = found.second.united(QRect(x, y, 1, 1));
        }
    }
    return found;
}

class TrayTests : public RecorderFixture {
 protected:
    /// The panel starts after the program in all tests.
    void SetUp() override { EXPECT_FALSE(tray.isShown()); }

    int quits = 0;
    MenuBar menuBar{make(), defaults, {[] {}, [] {}, [] {}, [this] { ++quits; }}};
    const views::TrayIcon tray{menuBar, *recorder};
};

TEST_F(TrayTests, OnTheBusIconAndMenuFollowTheRecorder) {
    NotifierHost panel;
    ASSERT_TRUE(await([&] { return panel.hasItem(); }));
    EXPECT_TRUE(tray.isShown());
    EXPECT_EQ(panel.toolTip(), "Lumicrate");
    EXPECT_GT(find(panel.picture(), white).first, 50);
    EXPECT_TRUE(panel.menuHas("Start Recording"));

    record();
    EXPECT_TRUE(await([&] { return panel.toolTip() == "Lumicrate – Recording"; }));
    EXPECT_GT(find(panel.picture(), red).first, 300);
    executor.advance(61s);
    EXPECT_TRUE(await([&] { return panel.menuHas("Recording 01:01"); }));
    ASSERT_TRUE(panel.choose("Pause Recording"));
    EXPECT_TRUE(await([&] { return *recorder->state == State::paused; }));
    EXPECT_TRUE(await([&] { return find(panel.picture(), orange).first > 300; }));
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
    const auto iconPlace = [] {
        return find(QGuiApplication::primaryScreen()->grabWindow(0).toImage(), red).second;
    };
    record();
    ASSERT_TRUE(iconPlace().isNull());
    stage::ChildProcess panel({"trayer", "--edge", "top", "--align", "right", "--width", "10", "--height",
                               "32", "--transparent", "false"});
    ASSERT_TRUE(await([&] { return iconPlace().width() > 8; }));
    EXPECT_TRUE(tray.isShown());
    const QPoint icon = iconPlace().center();
    stage::runProgram(
        {"xdotool", "mousemove", std::to_string(icon.x()), std::to_string(icon.y() + 6), "click", "3"});
    ASSERT_TRUE(await([] { return QApplication::activePopupWidget() != nullptr; }));
    // The last item of the menu.
    stage::runProgram({"xdotool", "key", "Up", "Return"});
    EXPECT_TRUE(await([&] { return quits == 1; }));
}

}  // namespace
}  // namespace lumicrate::test
