// SPDX-License-Identifier: GPL-3.0-or-later
// OverlayPanel on a real display: what is visible, where the pointer goes, and which window has the keyboard,
// with and without a compositing manager.
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Views/Overlays/OverlayStage.h"

namespace lumicrate::test {
namespace {

constexpr Rgb lineColor{0xff, 0x3b, 0x30};
constexpr Rgb white{255, 255, 255};

using PanelPixelTests = OverlayStageTests;

TEST_F(PanelPixelTests, ScreensAreInPointsFromTheBottomOfTheMainOne) {
    const double point = 1 / scale();
    const std::vector<NSScreen> all = screens.screens();
    const NSScreen expected[] = {{mainID, {400 * point, 0, 880 * point, 720 * point}, {}, scale(), "MAIN"},
                                 {leftID, {0, 0, 400 * point, 720 * point}, {}, scale(), "LEFT"}};
    ASSERT_EQ(all.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(all[i].localizedName, expected[i].localizedName);
        EXPECT_EQ(all[i].displayID, expected[i].displayID);
        EXPECT_EQ(all[i].frame, expected[i].frame);
        EXPECT_EQ(all[i].visibleFrame, expected[i].frame);
        EXPECT_EQ(all[i].backingScaleFactor, scale());
        pointToPixel({i == 0 ? 400 : 399, 719});
        EXPECT_TRUE(all[i].frame.contains(screens.mouseLocation()));
    }
}

TEST_F(PanelPixelTests, FollowsTheCompositingManager) {
    AreaFrame frame(contents);
    frame.show({20, 30, 160, 100}, main);
    const Point gap{main.frame.x + 20 + 9, main.frame.maxY() - 30 + 2.5};
    EXPECT_TRUE(comesToShow(gap.x, gap.y, white));
    Composition composition(true);
    EXPECT_TRUE(comesToShow(gap.x, gap.y, Application::color));
    composition.stop();
    EXPECT_TRUE(comesToShow(gap.x, gap.y, white));
}

struct Square final : public views::OverlayWidget {
    explicit Square(const QColor& in) : color(in) {}
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), color); }
    QColor color;
};

TEST_F(PanelPixelTests, HigherLevelsCoverLowerOnes) {
    const Rect place{main.frame.x + 50, 50, 40, 40};
    const auto panel = [&](const QColor& color, int level) {
        auto made = contents.content(std::make_unique<Square>(color))
                        ->makePanel({place, level, false, false, false, nullptr});
        made->orderFrontRegardless();
        return made;
    };
    const auto high = panel(Qt::green, NSPanel::screenSaverLevel);
    const auto low = panel(Qt::red, NSPanel::statusLevel);
    EXPECT_TRUE(comesToShow(place.midX(), place.midY(), {0, 255, 0}));
    high->setFrame(place.offsetBy(100, 60));
    EXPECT_TRUE(comesToShow(place.midX(), place.midY(), {255, 0, 0}));
    EXPECT_TRUE(comesToShow(place.midX() + 100, place.midY() + 60, {0, 255, 0}));
    EXPECT_EQ(high->frame(), place.offsetBy(100, 60));
    const double x = main.frame.x - 20;  // across the edge between the screens
    high->setFrameOrigin({x, 100});
    EXPECT_TRUE(comesToShow(x + 1, 101, {0, 255, 0}));
    EXPECT_TRUE(comesToShow(x + 38, 138, {0, 255, 0}));
}

class ComposedPanelPixelTests : public PanelPixelTests, public testing::WithParamInterface<bool> {
 protected:
    Composition composition{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Composition, ComposedPanelPixelTests, testing::Bool(), compositionName);

TEST_P(ComposedPanelPixelTests, AreaFrameIsOnlyALine) {
    AreaFrame frame(contents);
    frame.show({20, 30, 160, 100}, main);
    const double left = main.frame.x + 20;
    const double top = main.frame.maxY() - 30;
    const Rgb line = GetParam() ? over(lineColor, 0.9, Application::color) : lineColor;
    const Rgb gap = GetParam() ? Application::color : white;
    EXPECT_TRUE(comesToShow(left, top + 2.5, line));
    EXPECT_TRUE(comesToShow(left + 9, top + 2.5, gap)) << "after the first dash";
    int red = 0;
    for (double x = left; x < left + 160; x += 2)
        red += seenAt(x, top - 100 - 2.5).distanceTo(line) < 12 ? 1 : 0;
    EXPECT_NEAR(red, 50, 6) << "10 points of 16, below";
    for (const Point& at :
         {Point{left + 2, top - 2}, {left + 158, top - 98}, {left, top + 5}, {left - 6, top - 50}})
        EXPECT_EQ(seenAt(at.x, at.y), Application::color) << "not covered: " << at.x << ", " << at.y;
    clickAt(left, top + 2.5);
    clickAt(left + 80, top - 50);
    EXPECT_TRUE(runUntil([&] { return application.presses == 2; })) << "clicks pass through";
    EXPECT_TRUE(application.isActiveWindow());
    frame.hide();
    EXPECT_TRUE(comesToShow(left, top + 2.5, Application::color, 0));
}

TEST_P(ComposedPanelPixelTests, CountdownIsANumberInARoundedSquare) {
    FakeDefaults defaults;
    CountdownController countdown(executor, screens, defaults, contents);
    std::vector<bool> results;
    RunningTask running(executor, collect(countdown.run(3, main), results));
    executor.drain();
    const double x = main.frame.midX();
    const double y = main.frame.midY();
    const Rgb plate = GetParam() ? over({0, 0, 0}, 0.6, Application::color) : Rgb{28, 29, 34};
    EXPECT_TRUE(comesToShow(x - 90, y, plate));
    EXPECT_EQ(seenAt(x - 98, y + 98), Application::color) << "outside of the rounded corner";
    EXPECT_TRUE(runUntil([&] {
        int bright = 0;
        for (double dx = -30; dx < 30; dx += 4)
            for (double dy = 0; dy < 50; dy += 8)
                bright += seenAt(x + dx, y + dy).distanceTo(white) < 40 ? 1 : 0;
        return bright > 8;
    }));
    countdown.finish(false);
    EXPECT_TRUE(comesToShow(x - 90, y, Application::color, 0));
}

TEST_P(ComposedPanelPixelTests, RingsAppearAndLeaveNothingBehind) {
    FakeMouse mouse;
    ClickHighlighter highlighter(executor, screens, mouse, contents);
    highlighter.show(main);
    const auto number = highlighter.windowNumber();
    const double x = main.frame.midX();
    const double y = main.frame.midY();
    pointTo(x, y);
    mouse.press(false);
    // After half of the time the ring has spread and faded by 68 %.
    executor.advance(272ms);
    const double radius = 23 * (0.4 + 0.85 * 0.68);
    const Rgb yellow{0xff, 0xcc, 0x00};
    const Rgb line = over(yellow, GetParam() ? 0.32 : 1, Application::color);
    EXPECT_TRUE(comesToShow(x + radius, y, line, 24));
    EXPECT_TRUE(comesToShow(x, y - radius, line, 24));
    EXPECT_TRUE(comesToShow(x, y, over(yellow, GetParam() ? 0.3 * 0.32 : 0, Application::color)));
    EXPECT_EQ(seenAt(x + 29, y + 29), Application::color);
    EXPECT_EQ(highlighter.windowNumber(), number);
    executor.advance(300ms);
    EXPECT_TRUE(comesToShow(x + radius, y, Application::color, 0));
    EXPECT_EQ(seenAt(main.frame.x + 0.5, 0.5), Application::color) << "the panel while it waits";
}

}  // namespace
}  // namespace lumicrate::test
