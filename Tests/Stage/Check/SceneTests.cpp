#include "Benchmarks/Screen.h"
#include "Benchmarks/Stagehand.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace lumicrate::bench {

namespace {

/// What is recorded of a scene after that many steps.
Screen after(const std::string& display, const std::string& scene, const Setting& setting, int steps) {
    const CoveredWindows kept(display);
    Stagehand stagehand(display, scene, setting, steps);
    EXPECT_EQ(stagehand.awaitLast().size(), static_cast<std::size_t>(steps));
    stage::Area area = setting.area;
    if (setting.source == Source::Window) {
        const auto size = sizeOfWindow(display, stagehand.window());
        area = {0, 0, size.width, size.height};
    }
    return Screen(display, stagehand.window(), area);
}

std::optional<int> numberIn(const Screen& screen, double scale = 1) {
    const auto luma = screen.luma(Matrix::Bt709);
    return stage::FrameNumber::read({luma.data(), screen.width(), screen.width(), screen.height(), 1}, scale);
}

// Benchmarks compare recordings with the same step of a second run.
TEST(Scenes, LookTheSameInEveryRunAndShowTheirNumber) {
    stage::PrivateDesktop::Options options;
    options.display = {1280, 720, false, false};
    options.sound = false;
    stage::PrivateDesktop desktop(options);
    const auto& display = desktop.display().displayName();
    Setting area;
    area.source = Source::Area;
    area.area = {200, 100, 960, 600};
    Setting window;
    window.source = Source::Window;
    for (const char* scene : {"typing", "scrolling", "moving", "dragging", "mixed"}) {
        const auto once = after(display, scene, area, 41);
        EXPECT_EQ(numberIn(once), 40) << scene;
        EXPECT_EQ(once.luma(Matrix::Bt709), after(display, scene, area, 41).luma(Matrix::Bt709)) << scene;
        EXPECT_EQ(numberIn(after(display, scene, window, 41)), 40) << scene;
    }
    EXPECT_EQ(after(display, "mixed", window, 1).width(), 1280 * 45 / 100);
    EXPECT_EQ(numberIn(after(display, "mixed", area, 7).scaledTo(320, 200), 1 / 3.0), 6);
}

}  // namespace

}  // namespace lumicrate::bench
