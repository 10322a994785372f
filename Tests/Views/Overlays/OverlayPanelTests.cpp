// SPDX-License-Identifier: GPL-3.0-or-later
// OverlayPanel on a real display: what is visible, where the pointer goes, and which window has the keyboard,
// with and without a compositing manager.
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Desktop/KeyMonitor.h"

namespace lumicrate::test {
namespace {

constexpr Rgb lineColor{0xff, 0x3b, 0x30};
constexpr Rgb white{255, 255, 255};
constexpr Rgb blue{0x00, 0x7a, 0xff};
constexpr Rgb black{0, 0, 0};
constexpr Rgb pixelMark{255, 255, 0};

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

/// On two real screens, with real clicks and keys.
class ScreenChoiceViewTests : public OverlayStageTests {
 protected:
    using Chosen = std::optional<std::uint32_t>;

    /// The picture of the main screen is as that looks in these tests, except for one pixel.
    ScreenChoiceViewTests() {
        QImage picture = pictureOf(Application::color).convertToFormat(QImage::Format_RGB888);
        picture.setPixelColor(41, 51, QColor(pixelMark.red, pixelMark.green, pixelMark.blue));
        pictures.pictures[mainID] = {picture.width(),
                                     picture.height(),
                                     {picture.constBits(), picture.constBits() + picture.sizeInBytes()}};
        pointTo(main.frame.x + 40, 40);
    }

    void choose() {
        results.clear();
        choosing = RunningTask(executor, collect(chooser.choose(), results));
        EXPECT_TRUE(runUntil([this] {
            executor.drain();
            const QWidget* const active = QApplication::activeWindow();
            return active && active != &application;
        }));
    }
    void expectEnd(const Chosen& expected) {
        EXPECT_TRUE(runUntil([this] {
            executor.drain();
            return !results.empty();
        }));
        EXPECT_THAT(results, testing::ElementsAre(expected));
        EXPECT_TRUE(runUntil([this] { return application.isActiveWindow(); }));
        EXPECT_TRUE(comesToShow(main.frame.midX(), main.frame.midY(), Application::color, 0));
    }
    /// The centre of a button on the screen that has the keyboard.
    static Point button(const char* name) {
        return middleOf(*QApplication::activeWindow()->findChild<QWidget*>(QLatin1String(name)));
    }

    views::KeyMonitor keys{{[](std::uint32_t) { return 0U; },
                            [](std::uint32_t key) {
                                return key == 9 ? 53 : key == 10 ? 18 : key == 11 ? 19 : -1;
                            }}};
    FakeOverlayContents unused;
    FakeDisplayPictures pictures{unused};
    ScreenChooser chooser{executor, screens, pictures, keys, contents};
    RunningTask choosing;
    std::vector<Chosen> results;
};

TEST_F(ScreenChoiceViewTests, ClicksAndKeysChoose) {
    choose();
    const Point choosePlace = button("choose");
    const Point cancelPlace = button("cancel");
    const Point corner{main.frame.maxX() - 20, 20};
    const struct {
        Point pointer;
        std::vector<std::string> action;
        Chosen chosen;
    } cases[] = {{{20, 20}, {"click", "1"}, leftID},
                 {corner, {"click", "1"}, mainID},
                 {choosePlace, {"click", "1"}, mainID},
                 {cancelPlace, {"click", "1"}, std::nullopt},
                 {corner, {"key", "2"}, leftID},
                 {corner, {"key", "x", "Return"}, mainID},
                 {corner, {"key", "Tab", "space"}, std::nullopt},
                 {corner, {"key", "Tab", "Tab", "Return"}, mainID},
                 {{40, 40}, {"key", "Escape"}, std::nullopt}};
    for (const auto& [pointer, action, chosen] : cases) {
        pointTo(pointer.x, pointer.y);
        xdotool(action);
        expectEnd(chosen);
        choose();
    }
    xdotool({"key", "Return"});
    expectEnd(leftID);
    EXPECT_EQ(application.presses, 0);
}

class ScreenChoicePixelTests : public ScreenChoiceViewTests, public testing::WithParamInterface<bool> {
 protected:
    testing::AssertionResult mainIsDimmedBy(double opacity) const {
        return comesToShow(main.frame.x + 30, main.frame.maxY() - 30,
                           over(black, opacity, Application::color), 6);
    }

    Composition composition{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Composition, ScreenChoicePixelTests, testing::Bool(), compositionName);

TEST_P(ScreenChoicePixelTests, ScreenUnderThePointerIsLightAndOutlined) {
    choose();
    EXPECT_TRUE(mainIsDimmedBy(0.15));
    for (const Point& at : {Point{main.frame.x + 2, main.frame.midY()},
                            {main.frame.maxX() - 2, main.frame.midY()},
                            {main.frame.midX(), main.frame.maxY() - 2},
                            {main.frame.midX(), 2}})
        EXPECT_TRUE(comesToShow(at.x, at.y, blue));
    pointTo(30, 40);
    EXPECT_TRUE(mainIsDimmedBy(0.45));
    EXPECT_TRUE(comesToShow(main.frame.midX(), 2, over(black, 0.45, Application::color)));
    EXPECT_TRUE(comesToShow(60, 2, blue)) << "the other screen";
    const Point place = button("choose");
    EXPECT_TRUE(comesToShow(place.x - 116, place.y, {28, 29, 34}, 20)) << "a dark plate";
    // The picture is not scaled.
    const double pixel = 1 / scale();
    const double x = main.frame.x + 41.5 * pixel;
    const double y = main.frame.maxY() - 51.5 * pixel;
    EXPECT_TRUE(comesToShow(x, y, over(black, 0.45, GetParam() ? Application::color : pixelMark), 6));
    EXPECT_TRUE(comesToShow(x + pixel, y, over(black, 0.45, Application::color), 6));
    pointTo(main.frame.x + 40, 40);
    EXPECT_TRUE(runUntil([] { return seenAt(60, 2).distanceTo(blue) > 60; }));
    chooser.finish(std::nullopt);
    expectEnd(std::nullopt);
}

}  // namespace
}  // namespace lumicrate::test
