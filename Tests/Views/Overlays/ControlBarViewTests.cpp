// The control bar in the hands of a person: real clicks and drags on a real display.
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/PanelContents.h"

namespace lumicrate::test {
namespace {

constexpr Rgb ground{28, 29, 34};
constexpr Rgb red{0xff, 0x3b, 0x30};

class ControlBarViewTests : public RecorderFixture {
 protected:
    ControlBarViewTests() {
        overlays.controlBar = &bar;
        screens.all = display.screens();
        make();
        bar.setRecorder(&*recorder);
        RecordingOptions options = RecordingOptions::current(defaults);
        options.captureMicrophone = true;
        options.countdown = false;
        recorder->setOptionsOverride(options);
    }
    void TearDown() override {
        bar.setRecorder(nullptr);
        RecorderFixture::TearDown();
    }

    void recordNow() {
        record(CaptureSource::display(1));
        EXPECT_TRUE(runUntil([&] { return panel() && panel()->isVisible(); }));
    }
    /// The bar's panel.
    QWidget* panel() const {
        for (QWidget* each : QApplication::topLevelWidgets())
            if (bar.windowNumber() && each->internalWinId() == *bar.windowNumber()) return each;
        return nullptr;
    }
    views::BarButton* button(const char* name) const {
        return static_cast<views::BarButton*>(panel()->findChild<QWidget*>(QLatin1String(name)));
    }
    /// The middle of a part of the bar, in points.
    Point middleOf(const QWidget& part) const {
        const QPoint inside = part.mapTo(panel(), part.rect().center());
        const QPoint corner = panel()->geometry().topLeft();
        const QPointF origin = panel()->screen()->geometry().topLeft();
        const QPointF pixel = origin + (QPointF(corner + inside) - origin) * scale();
        return views::Coordinates::now().pointOfPixel(pixel.toPoint());
    }
    void clickOn(const char* name) {
        const Point at = middleOf(*button(name));
        clickAt(at.x, at.y);
    }

    Application application;
    views::Screens display{[](const std::string& name) { return std::optional(name == "MAIN" ? 1U : 2U); }};
    views::PanelContents contents;
    ControlBarController bar{display, defaults, contents};
};

TEST_F(ControlBarViewTests, ItsButtonsTakeTheFirstClickAndNeverTheKeys) {
    recordNow();
    const QString before = QString::fromStdString(
        stage::runProgram({"xdotool", "getwindowfocus"}, {{"DISPLAY", desktop->display().displayName()}}));
    EXPECT_EQ(button("pause")->accessibleName(), QStringLiteral("Pause (⌥⌘P)"));
    clickOn("pause");
    ASSERT_TRUE(runUntil([&] { return *recorder->state == State::paused; }));
    EXPECT_EQ(button("pause")->accessibleName(), QStringLiteral("Resume (⌥⌘P)"));
    clickOn("microphone");
    ASSERT_TRUE(runUntil([&] { return *recorder->microphoneMuted; }));
    EXPECT_EQ(button("microphone")->accessibleName(), QStringLiteral("Unmute microphone"));
    clickOn("pause");
    ASSERT_TRUE(runUntil([&] { return *recorder->state == State::recording; }));
    EXPECT_TRUE(application.isActiveWindow());
    EXPECT_EQ(QString::fromStdString(stage::runProgram({"xdotool", "getwindowfocus"},
                                                       {{"DISPLAY", desktop->display().displayName()}})),
              before);
    clickOn("stop");
    EXPECT_TRUE(runUntil([&] {
        executor.drain();
        return *recorder->state == State::stopping && !bar.windowNumber();
    }));
    EXPECT_EQ(application.presses, 0);
}

TEST_F(ControlBarViewTests, IsADarkPlateWithOrWithoutACompositingManager) {
    recordNow();
    const Point stop = middleOf(*button("stop"));
    const QRect inside = panel()->findChild<QWidget*>(QStringLiteral("stop"))->geometry();
    EXPECT_TRUE(comesToShow(stop.x, stop.y, red));
    const double corner = stop.x + inside.width() / 2.0 + 10;  // the padding
    EXPECT_TRUE(comesToShow(corner - 2, stop.y + 12, ground, 60));
    EXPECT_TRUE(comesToShow(corner - 1, stop.y + 19, Application::color, 0)) << "rounded";
    EXPECT_EQ(seenAt(corner + 6, stop.y), Application::color) << "no shadow";
    Composition composition(true);
    EXPECT_TRUE(runUntil([&] { return seenAt(corner + 3, stop.y).distanceTo(Application::color) > 10; }));
    EXPECT_TRUE(comesToShow(stop.x, stop.y, red));
    // The shadow takes no clicks.
    clickAt(corner + 6, stop.y);
    EXPECT_TRUE(runUntil([&] { return application.presses == 1; }));
    composition.stop();
    EXPECT_TRUE(comesToShow(corner + 6, stop.y, Application::color, 0));
}

TEST_F(ControlBarViewTests, TheMicrophoneFillsFromBelow) {
    recordNow();
    const Point middle = middleOf(*button("microphone"));
    const auto greenRows = [&] {
        int rows = 0;
        for (double y = -8; y <= 8; y += 1) {
            const Rgb seen = seenAt(middle.x, middle.y + y);
            rows += seen.green > 150 && seen.red < 110 ? 1 : 0;
        }
        return rows;
    };
    EXPECT_EQ(greenRows(), 0);
    recorder->microphoneLevel = 1.0F;
    EXPECT_TRUE(runUntil([&] { return greenRows() >= 11; }));
    recorder->microphoneLevel = 0.5F;
    EXPECT_TRUE(runUntil([&] { return greenRows() >= 2 && greenRows() <= 8; }));
    recorder->toggleMicrophoneMute();
    EXPECT_TRUE(runUntil([&] { return greenRows() == 0; }));
}

TEST_F(ControlBarViewTests, IsDraggedByItsBackgroundAsFarAsTheScreensReach) {
    recordNow();
    const Rect screen = screens.all.front().frame;
    Point grip = middleOf(*button("pause"));
    grip.x -= 80;  // on the time
    const auto dragTo = [&](double x, double y) {
        pointTo(grip.x, grip.y);
        xdotool({"mousedown", "1"});
        pointTo(x, y);
        xdotool({"mouseup", "1"});
    };
    dragTo(grip.x - 40, grip.y + 100);
    EXPECT_TRUE(runUntil([&] { return middleOf(*button("pause")).y > grip.y + 95; }));
    EXPECT_NEAR(middleOf(*button("pause")).x, grip.x + 40, 1.1);
    grip = {grip.x - 40, grip.y + 100};
    dragTo(screen.maxX() - 1, 1);
    const auto corner = [&] { return middleOf(*button("stop")); };
    EXPECT_TRUE(runUntil([&] { return corner().x > screen.maxX() - 30; }));
    EXPECT_TRUE(comesToShow(corner().x, corner().y, red)) << "still to be seen";
    EXPECT_LT(corner().x, screen.maxX() - 20);
    EXPECT_EQ(application.presses, 0);
    bar.moveBy(-100, 20);
    EXPECT_TRUE(runUntil([&] { return corner().x < screen.maxX() - 110; }));
}

TEST_F(ControlBarViewTests, ATipIsPartOfTheBarsOwnWindow) {
    recordNow();
    const Point at = middleOf(*button("pause"));
    // Between bar and tip nothing is seen, then comes the tip.
    const double tip = at.y + 20 + 6 + 4;
    EXPECT_EQ(seenAt(at.x - 20, tip), Application::color);
    pointTo(at.x, at.y);
    pointTo(at.x + 2, at.y);
    EXPECT_TRUE(runUntil([&] { return seenAt(at.x - 20, tip).distanceTo(Application::color) > 60; }));
    for (const QWidget* each : QApplication::topLevelWidgets())
        EXPECT_FALSE(each->isVisible() && each != panel() && each != &application) << "it would be recorded";
    pointTo(at.x, at.y + 100);
    EXPECT_TRUE(comesToShow(at.x - 20, tip, Application::color, 0));
}

}  // namespace
}  // namespace lumicrate::test
