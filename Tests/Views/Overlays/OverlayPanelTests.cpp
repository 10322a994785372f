// OverlayPanel on a real display: what is visible, where the pointer goes, and which window has the keyboard,
// with and without a compositing manager.
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Overlays/PanelContents.h"

namespace lumicrate::test {
namespace {

constexpr Rgb lineColor{0xff, 0x3b, 0x30};
constexpr Rgb white{255, 255, 255};

class PanelTestsBase : public testing::Test {
 protected:
    Application application;
    views::Screens screens = testScreens();
    views::PanelContents contents;
    NSScreen main = screens.screens().front();
    VirtualExecutor executor;
    FakeDefaults defaults;
};

class PanelPixelTests : public PanelTestsBase {};

TEST_F(PanelPixelTests, ScreensAreInPointsFromTheBottomOfTheMainOne) {
    const auto scaled = [](int pixels) { return pixels * (1 / scale()); };
    const std::vector<NSScreen> all = screens.screens();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].localizedName, "MAIN");
    EXPECT_EQ(all[0].displayID, mainID);
    EXPECT_EQ(all[0].frame, (Rect{scaled(400), 0, scaled(880), scaled(720)}));
    EXPECT_EQ(all[0].visibleFrame, all[0].frame);
    EXPECT_EQ(all[1].displayID, leftID);
    EXPECT_EQ(all[1].frame, (Rect{0, 0, scaled(400), scaled(720)}));
    for (const NSScreen& each : all)
        EXPECT_EQ(each.backingScaleFactor, scale());
    const std::pair<QPoint, std::size_t> pixels[] = {
        {{0, 0}, 1}, {{399, 719}, 1}, {{400, 0}, 0}, {{1279, 719}, 0}};
    for (const auto& [pixel, screen] : pixels) {
        pointToPixel(pixel);
        EXPECT_TRUE(all[screen].frame.contains(screens.mouseLocation())) << pixel.x();
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

class Square final : public views::OverlayWidget {
 public:
    explicit Square(const QColor& color) : color_(color) {}

 protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), color_); }

 private:
    QColor color_;
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
    // Across the edge between the screens, and on the other screen.
    for (const double x : {main.frame.x - 20, 30.0}) {
        high->setFrameOrigin({x, 100});
        EXPECT_TRUE(comesToShow(x + 1, 101, {0, 255, 0})) << x;
        EXPECT_TRUE(comesToShow(x + 38, 138, {0, 255, 0})) << x;
    }
}

class ComposedPanelPixelTests : public PanelTestsBase, public testing::WithParamInterface<bool> {
 protected:
    bool composited() const { return GetParam(); }

    Composition composition{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Composition, ComposedPanelPixelTests, testing::Bool(), compositionName);

TEST_P(ComposedPanelPixelTests, AreaFrameIsOnlyALine) {
    AreaFrame frame(contents);
    frame.show({20, 30, 160, 100}, main);
    const double left = main.frame.x + 20;
    const double top = main.frame.maxY() - 30;
    const Rgb line = composited() ? over(lineColor, 0.9, Application::color) : lineColor;
    const Rgb gap = composited() ? Application::color : white;
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
    CountdownController countdown(executor, screens, defaults, contents);
    struct Awaiting {
        static Task<void> on(Task<bool> run) { co_await run; }
    };
    RunningTask running(executor, Awaiting::on(countdown.run(3, main)));
    executor.drain();
    const double x = main.frame.midX();
    const double y = main.frame.midY();
    const Rgb plate = composited() ? over({0, 0, 0}, 0.6, Application::color) : Rgb{28, 29, 34};
    EXPECT_TRUE(comesToShow(x - 90, y, plate));
    EXPECT_EQ(seenAt(x - 98, y + 98), Application::color) << "outside of the rounded corner";
    const auto digitPixels = [&] {
        int bright = 0;
        for (double dx = -30; dx < 30; dx += 4)
            for (double dy = 0; dy < 50; dy += 8)
                bright += seenAt(x + dx, y + dy).distanceTo(white) < 40 ? 1 : 0;
        return bright;
    };
    EXPECT_TRUE(runUntil([&] { return digitPixels() > 8; }));
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
    const Rgb line = over(yellow, composited() ? 0.32 : 1, Application::color);
    EXPECT_TRUE(comesToShow(x + radius, y, line, 24));
    EXPECT_TRUE(comesToShow(x, y - radius, line, 24));
    EXPECT_TRUE(comesToShow(x, y, over(yellow, composited() ? 0.3 * 0.32 : 0, Application::color)));
    EXPECT_EQ(seenAt(x + 29, y + 29), Application::color);
    EXPECT_EQ(highlighter.windowNumber(), number);
    executor.advance(300ms);
    EXPECT_TRUE(comesToShow(x + radius, y, Application::color, 0));
    EXPECT_EQ(seenAt(main.frame.x + 0.5, 0.5), Application::color) << "the panel while it waits";
}

}  // namespace
}  // namespace lumicrate::test
