#include "Benchmarks/Screen.h"
#include "Benchmarks/Stagehand.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::bench {

namespace {

constexpr PixelSize display{1280, 720};

std::optional<int> numberIn(const Screen& screen, double scale = 1) {
    const auto luma = screen.luma(Matrix::Bt709);
    return stage::FrameNumber::read({luma.data(), screen.width(), screen.width(), screen.height(), 1}, scale);
}

// Without the number.
std::vector<std::uint8_t> sceneIn(const Screen& screen) {
    auto luma = screen.luma(Matrix::Bt709);
    luma.erase(luma.begin(), luma.begin() + std::ptrdiff_t{stage::FrameNumber::blockSize} * screen.width());
    return luma;
}

// What is recorded of a scene after so many steps.
Screen after(const std::string& name, const std::string& scene, const Setting& setting, int steps) {
    const CoveredWindows kept(name);
    Stagehand stagehand(name, scene, setting, steps);
    EXPECT_EQ(stagehand.awaitLast().size(), static_cast<std::size_t>(steps));
    stage::Area area{0, 0, display.width, display.height};
    if (setting.source == Source::Area) area = setting.area;
    if (setting.source == Source::Window) {
        const auto size = sizeOfWindow(name, stagehand.window());
        area = {0, 0, size.width, size.height};
    }
    return Screen(name, stagehand.window(), area);
}

TEST(Scenes, lookTheSameInEveryRunAndBearTheirNumber) {
    stage::PrivateDesktop::Options options;
    options.display = {display.width, display.height, false, false};
    options.sound = false;
    stage::PrivateDesktop desktop(options);
    const auto& name = desktop.display().displayName();

    Setting area;
    area.source = Source::Area;
    area.area = {200, 100, 640, 480};  // where windows of the scenes come to lie
    Setting window;
    window.source = Source::Window;
    for (const char* scene : {"typing", "scrolling", "moving", "dragging", "mixed"}) {
        for (const Setting& setting : {Setting{}, area, window}) {
            const auto once = after(name, scene, setting, 41);
            EXPECT_EQ(numberIn(once), 40) << scene;
            EXPECT_EQ(sceneIn(once), sceneIn(after(name, scene, setting, 41))) << scene;
            const bool moves = setting.source != Source::Window || std::string(scene) != "dragging";
            EXPECT_EQ(sceneIn(once) != sceneIn(after(name, scene, setting, 90)), moves) << scene;
        }
    }
    // Those with windows of their own have them all on the screen.
    EXPECT_EQ(after(name, "dragging", window, 1).width(), 640);
    EXPECT_EQ(after(name, "mixed", window, 1).width(), display.width * 45 / 100);
    const auto reduced = after(name, "mixed", {}, 7).scaledTo(display.width / 3, display.height / 3);
    EXPECT_EQ(numberIn(reduced, 1 / 3.0), 6);
}

}  // namespace

}  // namespace lumicrate::bench
