// The icon in a panel that speaks over the bus, and in one that takes windows in.

#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Views/Shell/NotifierHost.h"
#include "Views/Shell/TrayIcon.h"

#include <QApplication>
#include <QPixmap>
#include <QScreen>

namespace lumicrate {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::NotifierHost;

class TrayIconTests : public test::RecorderFixture {
 protected:
    TrayIconTests() : menuBar_(make(), defaults, {[] {}, [] {}, [] {}, [this] { ++quits; }}) {}

    bool has(NotifierHost& host, const QString& label) const {
        const auto entries = host.menu();
        return std::any_of(entries.begin(), entries.end(),
                           [&](const NotifierHost::Entry& each) { return each.label == label; });
    }

    int quits = 0;
    MenuBar menuBar_;
};

/// How many pixels have about that colour.
int count(const QImage& image, const QColor& color) {
    int found = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor seen = image.pixelColor(x, y);
            const int difference = std::abs(seen.red() - color.red()) +
                                   std::abs(seen.green() - color.green()) +
                                   std::abs(seen.blue() - color.blue());
            if (difference < 30 && seen.alpha() > 200) ++found;
        }
    }
    return found;
}

TEST_F(TrayIconTests, APanelThatComesLateShowsIconAndMenu) {
    const views::TrayIcon tray(menuBar_, *recorder);
    EXPECT_FALSE(tray.isShown());
    NotifierHost panel;
    ASSERT_TRUE(await([&] { return panel.hasItem(); }));
    EXPECT_TRUE(tray.isShown());
    EXPECT_EQ(panel.toolTip(), "Lumicrate");
    EXPECT_GT(count(panel.picture(), QColor(0xf2f2f4)), 50);
    EXPECT_TRUE(has(panel, "Start Recording"));

    record();
    EXPECT_TRUE(await([&] { return panel.toolTip() == "Lumicrate – Recording"; }));
    EXPECT_GT(count(panel.picture(), QColor(0xff453a)), 300);
    executor.advance(61s);
    EXPECT_TRUE(await([&] { return has(panel, "Recording 01:01"); }));
    ASSERT_TRUE(panel.choose("Pause Recording"));
    EXPECT_TRUE(await([&] { return *recorder->state == State::paused; }));
    EXPECT_TRUE(await([&] { return count(panel.picture(), QColor(0xffb340)) > 300; }));
    panel.activateSecondary();
    EXPECT_TRUE(await([&] {
        executor.drain();
        return *recorder->state == State::stopping;
    }));
    complete();
    ASSERT_TRUE(panel.choose("Quit Lumicrate"));
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
