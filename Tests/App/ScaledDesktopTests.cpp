// SPDX-License-Identifier: GPL-3.0-or-later
// A desktop with more than one pixel per point: everything is listed and requested in points, and recorded
// with all its pixels.
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace lumicrate::test {
namespace {

constexpr int width = 1200;
constexpr int height = 900;

struct Scale {
    const char* name;
    const char* dpi;     ///< of the desktop
    const char* factor;  ///< of Qt
    double pixels;       ///< per point
};

class ScaledDesktopTests : public ProgramTest, public testing::WithParamInterface<Scale> {
 protected:
    ScaledDesktopTests() : ProgramTest({.display = {width, height, false, false}, .sound = false}) {
        stage::runProgram(
            {"sh", "-c", std::string("echo Xft.dpi: ") + GetParam().dpi + " | xrdb -nocpp -merge"});
        Painter().fill(0, 0, width, height, 0x303030);
    }
    /// Records, and expects the last picture to have that size, and that colour into its corners.
    void expectRecorded(std::vector<std::string> source, const PixelRect& part, const Rgb& color) {
        std::filesystem::remove(file);
        source.insert(source.end(), {"--duration", "0.5", "--no-cursor"});
        recordToEnd(source, environment);
        const stage::OwnedPicture picture = MovieProbe(file).lastPicture();
        ASSERT_EQ(std::pair(picture->width, picture->height),
                  std::pair(part.width + part.width % 2, part.height + part.height % 2));
        for (const int x : {1, part.width / 2, part.width - 2})
            for (const int y : {1, part.height / 2, part.height - 2})
                EXPECT_LE(picture->rgbAt(x, y).distanceTo(color), 8) << x << "," << y;
    }

    const double scale = GetParam().pixels;
    const stage::Environment environment{{"QT_SCALE_FACTOR", GetParam().factor}};
};

INSTANTIATE_TEST_SUITE_P(Scales, ScaledDesktopTests,
                         testing::Values(Scale{"Two", "192", "1", 2}, Scale{"OneAndAHalf", "144", "", 1.5},
                                         Scale{"ByTheToolkit", "96", "2", 2},
                                         Scale{"ByBoth", "120", "2", 2.5}, Scale{"One", "96", "none", 1}),
                         [](const auto& scale) { return std::string(scale.param.name); });

TEST_P(ScaledDesktopTests, CountsInPointsAndRecordsPixels) {
    const auto pixels = [this](int points) { return static_cast<int>(std::lround(points * scale)); };
    const PixelRect part{pixels(33), pixels(21), pixels(201), pixels(117)};
    Painter().fill(part.x, part.y, part.width, part.height, 0xFFFFFF);
    expectRecorded({"--area", "33,21,201,117"}, part, {255, 255, 255});

    // At whole points; the recording of other windows extends to the next ones.
    const TestWindow window(display(),
                            {.frame = {60, 90, 300, 240}, .colour = 0x2060ff, .managed = true, .title = "x"});
    expectRecorded({"--window", std::to_string(window.id())}, {60, 90, 300, 240}, {0x20, 0x60, 0xff});

    const auto listed = nlohmann::json::parse(run({"sources", "--json"}, environment).output);
    EXPECT_EQ(listed["displays"][0]["scale"], scale);
    EXPECT_EQ(listed["displays"][0]["width"], width / scale);
    EXPECT_EQ(listed["windows"][0]["x"], 60 / scale);
    EXPECT_EQ(listed["windows"][0]["height"], 240 / scale);
}

}  // namespace
}  // namespace lumicrate::test
