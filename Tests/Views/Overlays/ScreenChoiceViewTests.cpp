// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenChoiceView on two real screens, with real clicks and keys.
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Desktop/KeyMonitor.h"

namespace lumicrate::test {
namespace {

constexpr Rgb blue{0x00, 0x7a, 0xff};
constexpr Rgb black{0, 0, 0};
constexpr Rgb pixelMark{255, 255, 0};

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
