// The icon in a panel that takes windows in. A program of its own: the toolkit decides once which kind there
// is.

#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Views/Shell/TrayIcon.h"

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>

namespace lumicrate {
namespace {

using test::await;

/// Where that colour is on the screen; null where it is not.
QRect found(const QColor& color) {
    const QImage screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    QRect bounds;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            const QColor seen = screen.pixelColor(x, y);
            const int difference = std::abs(seen.red() - color.red()) +
                                   std::abs(seen.green() - color.green()) +
                                   std::abs(seen.blue() - color.blue());
            if (difference < 30) bounds = bounds.united(QRect(x, y, 1, 1));
        }
    }
    return bounds;
}

class TrayWindowTests : public test::RecorderFixture {};

TEST_F(TrayWindowTests, APanelThatComesLateShowsIconAndMenu) {
    int quits = 0;
    MenuBar menuBar(make(), defaults, {[] {}, [] {}, [] {}, [&] { ++quits; }});
    const views::TrayIcon tray(menuBar, *recorder);
    EXPECT_FALSE(tray.isShown());
    const QColor recording(0xff453a);
    record();
    ASSERT_TRUE(found(recording).isNull());

    stage::ChildProcess panel({"trayer", "--edge", "top", "--align", "right", "--width", "10", "--height",
                               "32", "--transparent", "false"});
    ASSERT_TRUE(await([&] { return found(recording).width() > 8; }));
    EXPECT_TRUE(tray.isShown());
    const QPoint icon = found(recording).center();
    stage::runProgram(
        {"xdotool", "mousemove", std::to_string(icon.x()), std::to_string(icon.y() + 6), "click", "3"});
    ASSERT_TRUE(await([&] { return QApplication::activePopupWidget() != nullptr; }));
    // From the end of the menu.
    stage::runProgram({"xdotool", "key", "Up", "Return"});
    EXPECT_TRUE(await([&] { return quits == 1; }));
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const lumicrate::stage::PrivateDesktop desktop({.display = {640, 480, true, false}, .sound = false});
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
