// Panels on a real display: what is seen of them, where the pointer goes, and who has the keys; with a
// compositing manager, without one, and while it comes and goes. Places are in points, y up.
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/PanelContents.h"

#include <gmock/gmock.h>

namespace lumicrate::test {
namespace {

constexpr Rgb lineColor{0xff, 0x3b, 0x30};
constexpr Rgb white{255, 255, 255};
constexpr Rgb ground{28, 29, 34};

class PanelTests : public testing::Test {
 protected:
    double scaled(int pixels) const { return pixels * (1 / scale()); }

    Application application;
    views::Screens screens{[](const std::string& name) { return std::optional(name == "MAIN" ? 7U : 8U); }};
    views::PanelContents contents;
    NSScreen main = screens.screens().front();
    VirtualExecutor executor;
    FakeDefaults defaults;
};

TEST_F(PanelTests, ScreensAreInPointsFromTheBottomOfTheMainOne) {
    const std::vector<NSScreen> all = screens.screens();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].localizedName, "MAIN");
    EXPECT_EQ(all[0].displayID, 7U);
    EXPECT_EQ(all[0].frame, (Rect{scaled(400), 0, scaled(880), scaled(720)}));
    EXPECT_EQ(all[0].visibleFrame, all[0].frame);
    EXPECT_EQ(all[1].displayID, 8U);
    EXPECT_EQ(all[1].frame, (Rect{0, 0, scaled(400), scaled(720)}));
    for (const NSScreen& each : all)
        EXPECT_EQ(each.backingScaleFactor, scale());
    const QPoint pixels[] = {{0, 0}, {399, 719}, {400, 0}, {1279, 719}};
    const int screenOf[] = {1, 1, 0, 0};
    for (int i = 0; i < 4; ++i) {
        xdotool({"mousemove", std::to_string(pixels[i].x()), std::to_string(pixels[i].y())});
        EXPECT_TRUE(all[std::size_t(screenOf[i])].frame.contains(screens.mouseLocation())) << i;
    }
}

class ComposedPanelTests : public PanelTests, public testing::WithParamInterface<bool> {
 protected:
    bool composited() const { return GetParam(); }

    Composition composition{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Composition, ComposedPanelTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(ComposedPanelTests, TheAreaFrameIsALineAndNothingElse) {
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
    EXPECT_NEAR(red, 50, 6) << "ten points of sixteen, below";
    EXPECT_EQ(seenAt(left + 2, top - 2), Application::color) << "no recorded pixel is covered";
    EXPECT_EQ(seenAt(left + 158, top - 98), Application::color);
    EXPECT_EQ(seenAt(left, top + 5), Application::color);
    EXPECT_EQ(seenAt(left - 6, top - 50), Application::color);
    clickAt(left, top + 2.5);
    clickAt(left + 80, top - 50);
    EXPECT_TRUE(runUntil([&] { return application.presses == 2; })) << "clicks go through";
    frame.hide();
    EXPECT_TRUE(comesToShow(left, top + 2.5, Application::color, 0));
}

TEST_P(ComposedPanelTests, TheCountdownIsARoundedSquareThatIsInNobodysWay) {
    CountdownController countdown(executor, screens, defaults, contents);
    Task<bool> run = countdown.run(3, main);
    struct Awaiting {
        static Task<void> on(Task<bool> run) { co_await run; }
    };
    RunningTask running(executor, Awaiting::on(std::move(run)));
    executor.drain();
    const double x = main.frame.midX();
    const double y = main.frame.midY();
    const Rgb plate = composited() ? over({0, 0, 0}, 0.6, Application::color) : ground;
    EXPECT_TRUE(comesToShow(x - 90, y, plate));
    EXPECT_EQ(seenAt(x - 98, y + 98), Application::color) << "outside of the rounded corner";
    // Somewhere in the middle there is a number.
    const auto inked = [&] {
        int bright = 0;
        for (double dx = -30; dx < 30; dx += 4)
            for (double dy = 0; dy < 50; dy += 8)
                bright += seenAt(x + dx, y + dy).distanceTo(white) < 40 ? 1 : 0;
        return bright;
    };
    EXPECT_TRUE(runUntil([&] { return inked() > 8; }));
    clickAt(x - 80, y);
    EXPECT_TRUE(runUntil([&] { return application.presses == 1; }));
    EXPECT_TRUE(application.isActiveWindow());
    countdown.finish(false);
    EXPECT_TRUE(comesToShow(x - 90, y, Application::color, 0));
}

TEST_P(ComposedPanelTests, RingsShowAndLeaveNothingBehind) {
    FakeMouse mouse;
    ClickHighlighter highlighter(executor, screens, mouse, contents);
    highlighter.show(main);
    const auto number = highlighter.windowNumber();
    const double x = main.frame.midX();
    const double y = main.frame.midY();
    pointTo(x, y);
    mouse.press(false);
    // In half of the time two thirds of the way, and of the fading.
    executor.advance(272ms);
    const double radius = 23 * (0.4 + 0.85 * 0.68);
    const Rgb yellow{0xff, 0xcc, 0x00};
    const double opacity = composited() ? 0.32 : 1;
    EXPECT_TRUE(comesToShow(x + radius, y, over(yellow, opacity, Application::color), 24));
    EXPECT_TRUE(comesToShow(x, y - radius, over(yellow, opacity, Application::color), 24));
    const Rgb filling = composited() ? over(yellow, 0.3 * 0.32, Application::color) : Application::color;
    EXPECT_TRUE(comesToShow(x, y, filling));
    EXPECT_EQ(seenAt(x + 29, y + 29), Application::color);
    clickAt(x, y);
    EXPECT_TRUE(runUntil([&] { return application.presses == 1; }));
    EXPECT_EQ(highlighter.windowNumber(), number);
    executor.advance(300ms);
    EXPECT_TRUE(comesToShow(x + radius, y, Application::color, 0));
    EXPECT_EQ(seenAt(main.frame.x + 0.5, 0.5), Application::color) << "where the panel waits";
}

TEST_F(PanelTests, ChangesOverWhenACompositingManagerComesAndGoes) {
    AreaFrame frame(contents);
    frame.show({20, 30, 160, 100}, main);
    const double gapX = main.frame.x + 20 + 9;
    const double gapY = main.frame.maxY() - 30 + 2.5;
    EXPECT_TRUE(comesToShow(gapX, gapY, white));
    Composition composition(true);
    EXPECT_TRUE(comesToShow(gapX, gapY, Application::color));
    composition.stop();
    EXPECT_TRUE(comesToShow(gapX, gapY, white));
}

/// A plain square that notes what it is told.
class Square final : public views::OverlayWidget {
 public:
    explicit Square(const QColor& color) : color_(color) {}
    QPainterPath silhouette() const override {
        QPainterPath path;
        path.addRect(rect());
        return path;
    }

 protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), color_); }

 private:
    QColor color_;
};

TEST_F(PanelTests, HigherLevelsLieOverLowerOnes) {
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
    // Across the edge between the screens, and on the other one.
    for (const double x : {main.frame.x - 20, 30.0}) {
        high->setFrameOrigin({x, 100});
        EXPECT_TRUE(comesToShow(x + 1, 101, {0, 255, 0})) << x;
        EXPECT_TRUE(comesToShow(x + 38, 138, {0, 255, 0})) << x;
    }
}

}  // namespace
}  // namespace lumicrate::test
