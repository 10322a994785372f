// SPDX-License-Identifier: GPL-3.0-or-later
// ControlBarView on a real display, with real clicks and drags.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Tests/Views/Overlays/OverlayStage.h"

namespace lumicrate::test {
namespace {

constexpr Rgb ground{28, 29, 34};
constexpr Rgb red{0xff, 0x3b, 0x30};

class ControlBarPixelTests : public RecorderFixture {
 protected:
    /// Starts a recording and waits for the bar.
    void SetUp() override {
        overlays.controlBar = &bar;
        screens.all = display.screens();
        bar.setRecorder(&make());
        RecordingOptions options = RecordingOptions::current(defaults);
        options.captureMicrophone = true;
        recorder->setOptionsOverride(options);
        record(CaptureSource::display(1));
        EXPECT_TRUE(runUntil([&] { return panel() && panel()->isVisible(); }));
    }
    void TearDown() override {
        bar.setRecorder(nullptr);
        RecorderFixture::TearDown();
    }

    QWidget* panel() const {
        for (QWidget* each : QApplication::topLevelWidgets())
            if (bar.windowNumber() && each->internalWinId() == *bar.windowNumber()) return each;
        return nullptr;
    }
    QWidget& button(const char* name) const { return *panel()->findChild<QWidget*>(QLatin1String(name)); }

    Application application;
    views::Screens display = testScreens();
    views::PanelContents realContents;
    ControlBarController bar{display, defaults, realContents};
};

using ControlBarViewTests = ControlBarPixelTests;

TEST_F(ControlBarViewTests, ButtonsTakeTheFirstClickAndNeverTheKeyboard) {
    const std::string focusedBefore = xdotool({"getwindowfocus"});
    clickOn(button("pause"));
    ASSERT_TRUE(runUntil([&] { return *recorder->state == State::paused; }));
    EXPECT_EQ(button("pause").accessibleName(), QStringLiteral("Resume (⌥⌘P)"));
    clickOn(button("microphone"));
    ASSERT_TRUE(runUntil([&] { return *recorder->microphoneMuted; }));
    EXPECT_EQ(button("microphone").accessibleName(), QStringLiteral("Unmute microphone"));
    clickOn(button("pause"));
    ASSERT_TRUE(runUntil([&] { return *recorder->state == State::recording; }));
    EXPECT_TRUE(application.isActiveWindow());
    EXPECT_EQ(xdotool({"getwindowfocus"}), focusedBefore);
    clickOn(button("stop"));
    EXPECT_TRUE(runUntil([&] {
        executor.drain();
        return *recorder->state == State::stopping && !bar.windowNumber();
    }));
    EXPECT_EQ(application.presses, 0);
}

TEST_F(ControlBarViewTests, MicrophoneFillsFromBelow) {
    const Point middle = middleOf(button("microphone"));
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

TEST_F(ControlBarViewTests, TipIsPartOfTheBarsOwnWindow) {
    const Point at = middleOf(button("pause"));
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

TEST_F(ControlBarPixelTests, IsADarkPlateWithAShadowThatTakesNoClicks) {
    const Point stop = middleOf(button("stop"));
    EXPECT_TRUE(comesToShow(stop.x, stop.y, red));
    const double right = stop.x + button("stop").width() / 2.0 + 10;  // the bar's padding
    EXPECT_TRUE(comesToShow(right - 2, stop.y + 12, ground, 60));
    EXPECT_TRUE(comesToShow(right - 1, stop.y + 19, Application::color, 0)) << "rounded";
    EXPECT_EQ(seenAt(right + 6, stop.y), Application::color) << "no shadow";
    const Composition composition(true);
    EXPECT_TRUE(runUntil([&] { return seenAt(right + 3, stop.y).distanceTo(Application::color) > 10; }));
    EXPECT_TRUE(comesToShow(stop.x, stop.y, red));
    clickAt(right + 6, stop.y);
    EXPECT_TRUE(runUntil([&] { return application.presses == 1; }));
}

TEST_F(ControlBarPixelTests, IsDraggedByItsBackgroundUpToTheScreensEdges) {
    const Rect screen = screens.all.front().frame;
    const Point grip{middleOf(button("pause")).x - 80, middleOf(button("pause")).y};  // on the time
    pointTo(grip.x, grip.y);
    xdotool({"mousedown", "1"});
    pointTo(grip.x - 40, grip.y + 100);
    EXPECT_TRUE(runUntil([&] { return middleOf(button("pause")).y > grip.y + 95; }));
    EXPECT_NEAR(middleOf(button("pause")).x, grip.x + 40, 1.1);
    pointTo(screen.maxX() - 1, 1);
    xdotool({"mouseup", "1"});
    const auto corner = [&] { return middleOf(button("stop")); };
    EXPECT_TRUE(runUntil([&] { return corner().x > screen.maxX() - 30; }));
    EXPECT_TRUE(comesToShow(corner().x, corner().y, red)) << "still visible";
    EXPECT_LT(corner().x, screen.maxX() - 20);
    EXPECT_EQ(application.presses, 0);
}

}  // namespace
}  // namespace lumicrate::test
