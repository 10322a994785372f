// The choice of a screen in the hands of a person, on two screens; with a compositing manager and without.
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Tests/Support/VirtualExecutor.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/PanelContents.h"

#include <optional>
#include <utility>
#include <vector>

namespace lumicrate::test {
namespace {

constexpr Rgb blue{0x00, 0x7a, 0xff};
constexpr Rgb black{0, 0, 0};
constexpr Rgb pixelMark{255, 255, 0};
constexpr std::uint32_t mainID = 7;
constexpr std::uint32_t leftID = 8;

/// As the screens are in these tests, but for one pixel of the main one.
struct Pictures final : public SCScreenshotManager {
    std::optional<CGImage> captureImage(std::uint32_t, Size) override { return std::nullopt; }
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override {
        if (displayID != mainID) return std::nullopt;
        CGImage image{880, displayHeight, {}};
        for (int i = 0; i < image.width * image.height; ++i) {
            const Rgb& color = i == 51 * image.width + 41 ? pixelMark : Application::color;
            for (const int part : {color.red, color.green, color.blue})
                image.pixels.push_back(static_cast<std::uint8_t>(part));
        }
        return image;
    }
};

class ScreenChoiceTests : public testing::TestWithParam<bool> {
 protected:
    using Chosen = std::optional<std::uint32_t>;

    ScreenChoiceTests() { pointTo(main.frame.x + 40, 40); }

    bool composited() const { return GetParam(); }
    void choose() {
        choosing = RunningTask(executor, awaitChoice());
        EXPECT_TRUE(runUntil([this] {
            executor.drain();
            const QWidget* const active = QApplication::activeWindow();
            return active && active != &application;
        }));
    }
    Task<void> awaitChoice() {
        Task<Chosen> choice = chooser.choose();
        const Chosen chosen = co_await choice;
        result = chosen;
    }
    void expectEnd(const Chosen& expected) {
        EXPECT_TRUE(runUntil([this] {
            executor.drain();
            return result.has_value();
        }));
        EXPECT_EQ(std::exchange(result, std::nullopt).value_or(0U), expected);
        EXPECT_TRUE(runUntil([this] { return application.isActiveWindow(); }));
        EXPECT_TRUE(comesToShow(main.frame.midX(), main.frame.midY(), Application::color, 0));
        for (const QWidget* each : QApplication::topLevelWidgets())
            EXPECT_TRUE(each == &application || !each->isVisible());
    }
    /// Of the screen that has the keys.
    Point middleOf(const char* name) const {
        const QWidget& panel = *QApplication::activeWindow();
        const auto* const part = panel.findChild<QWidget*>(QLatin1String(name));
        const QPoint inside = part->mapTo(&panel, part->rect().center());
        return {main.frame.x + inside.x(), main.frame.maxY() - inside.y()};
    }
    testing::AssertionResult mainIsDimmedBy(double opacity) const {
        return comesToShow(main.frame.x + 30, main.frame.maxY() - 30,
                           over(black, opacity, Application::color), 6);
    }

    Application application;
    Composition composition{GetParam()};
    views::Screens screens{
        [](const std::string& name) { return std::optional(name == "MAIN" ? mainID : leftID); }};
    views::KeyMonitor keys{{[](std::uint32_t) { return 0U; },
                            [](std::uint32_t key) {
                                return key == 9 ? 53 : key == 10 ? 18 : key == 11 ? 19 : -1;
                            }}};
    NSScreen main = screens.screens().front();
    VirtualExecutor executor;
    Pictures pictures;
    views::PanelContents contents;
    ScreenChooser chooser{executor, screens, pictures, keys, contents};
    RunningTask choosing;
    std::optional<Chosen> result;
};

INSTANTIATE_TEST_SUITE_P(Composition, ScreenChoiceTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(ScreenChoiceTests, TheScreenUnderThePointerIsLightAndOutlined) {
    choose();
    const auto outline = [&](const Rgb& color) {
        const Rect& frame = main.frame;
        return comesToShow(frame.x + 2, frame.midY(), color) &&
               comesToShow(frame.maxX() - 2, frame.midY(), color) &&
               comesToShow(frame.midX(), frame.maxY() - 2, color) && comesToShow(frame.midX(), 2, color);
    };
    EXPECT_TRUE(mainIsDimmedBy(0.15));
    EXPECT_TRUE(outline(blue));
    pointTo(30, 40);
    EXPECT_TRUE(mainIsDimmedBy(0.45));
    EXPECT_TRUE(outline(over(black, 0.45, Application::color)));
    EXPECT_TRUE(comesToShow(60, 2, blue)) << "the other screen";
    const Point button = middleOf("choose");
    EXPECT_TRUE(comesToShow(button.x - 116, button.y, {28, 29, 34}, 20)) << "a dark plate";
    // Pixel by pixel, at any scale.
    const double size = 1 / scale();
    const double x = main.frame.x + 41.5 * size;
    const double y = main.frame.maxY() - 51.5 * size;
    const Rgb shown = composited() ? Application::color : pixelMark;
    EXPECT_TRUE(comesToShow(x, y, over(black, 0.45, shown), 6));
    EXPECT_TRUE(comesToShow(x + size, y, over(black, 0.45, Application::color), 6));
    pointTo(main.frame.x + 40, 40);
    EXPECT_TRUE(mainIsDimmedBy(0.15));
    EXPECT_TRUE(runUntil([] { return seenAt(60, 2).distanceTo(blue) > 60; }));
    chooser.finish(std::nullopt);
    expectEnd(std::nullopt);
}

TEST_P(ScreenChoiceTests, AClickAnywhereChoosesItsScreen) {
    choose();
    clickAt(20, 20);
    expectEnd(leftID);
    pointTo(main.frame.x + 40, 40);
    choose();
    clickAt(main.frame.maxX() - 20, 20);
    expectEnd(mainID);
    choose();
    const Point button = middleOf("choose");
    clickAt(button.x - 116, button.y);
    expectEnd(mainID);
    choose();
    clickAt(button.x, button.y);
    expectEnd(mainID);
    choose();
    const Point cancel = middleOf("cancel");
    clickAt(cancel.x, cancel.y);
    expectEnd(std::nullopt);
    EXPECT_EQ(application.presses, 0);
}

TEST_P(ScreenChoiceTests, KeysChooseToo) {
    const std::pair<std::vector<std::string>, Chosen> cases[] = {{{"key", "Escape"}, std::nullopt},
                                                                 {{"key", "2"}, leftID},
                                                                 {{"key", "1"}, mainID},
                                                                 {{"key", "x", "Return"}, mainID},
                                                                 {{"key", "Tab", "space"}, std::nullopt},
                                                                 {{"key", "Tab", "Tab", "Return"}, mainID}};
    for (const auto& [words, chosen] : cases) {
        choose();
        xdotool(words);
        expectEnd(chosen);
    }
    pointTo(40, 40);
    choose();
    xdotool({"key", "Return"});
    expectEnd(leftID);
}

}  // namespace
}  // namespace lumicrate::test
