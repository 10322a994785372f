// A desktop whose points are more than a pixel: everything is told and asked for in points, and recorded in
// all its pixels.
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <utility>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using stage::Rgb;

constexpr int width = 1200;
constexpr int height = 900;

struct Scale {
    const char* name;
    const char* dpi;     ///< of the desktop
    const char* factor;  ///< of the toolkit
    double pixels;       ///< in a point
};

class ScaledDesktopTests : public testing::TestWithParam<Scale> {
 protected:
    ScaledDesktopTests() {
        stage::runProgram(
            {"sh", "-c", std::string("echo Xft.dpi: ") + GetParam().dpi + " | xrdb -nocpp -merge"});
        painter.emplace();
        painter->fill(0, 0, width, height, 0x303030);
    }

    Outcome runScaled(std::vector<std::string> arguments) const {
        return run(std::move(arguments), {{"QT_SCALE_FACTOR", GetParam().factor}});
    }
    /// A recording's last picture, which has to be of that size, and of that colour into its corners.
    void expectRecorded(const std::vector<std::string>& what, const PixelRect& part, const Rgb& colour) {
        auto more = what;
        more.insert(more.end(), {"--duration", "0.5", "--no-cursor"});
        const Outcome outcome = runScaled(recordArguments(file, more));
        ASSERT_EQ(outcome.status, 0) << outcome.error;
        const stage::OwnedPicture picture = MovieProbe(file).lastPicture();
        ASSERT_EQ(std::pair(picture->width, picture->height),
                  std::pair(part.width + part.width % 2, part.height + part.height % 2));
        for (const int x : {1, part.width / 2, part.width - 2})
            for (const int y : {1, part.height / 2, part.height - 2})
                EXPECT_LE(picture->rgbAt(x, y).distanceTo(colour), 8) << x << "," << y;
    }
    int pixels(double points) const { return static_cast<int>(std::lround(points * GetParam().pixels)); }

    stage::PrivateDesktop desktop{{.display = {width, height, false, false}, .sound = false}};
    std::optional<Painter> painter;
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "movie.mp4";
};

INSTANTIATE_TEST_SUITE_P(Scales, ScaledDesktopTests,
                         testing::Values(Scale{"Two", "192", "1", 2}, Scale{"OneAndAHalf", "144", "", 1.5},
                                         Scale{"ByTheToolkit", "96", "2", 2},
                                         Scale{"ByBoth", "120", "2", 2.5}, Scale{"One", "96", "none", 1}),
                         [](const auto& scale) { return std::string(scale.param.name); });

TEST_P(ScaledDesktopTests, SourcesAreToldInPoints) {
    const TestWindow window(desktop.display().displayName(),
                            {.frame = {30, 60, 300, 240}, .managed = true, .title = "x"});
    const auto listed = nlohmann::json::parse(runScaled({"sources", "--json"}).output);
    const double scale = GetParam().pixels;
    EXPECT_EQ(listed["displays"][0]["scale"], scale);
    EXPECT_EQ(listed["displays"][0]["width"], width / scale);
    EXPECT_EQ(listed["windows"][0]["x"], 30 / scale);
    EXPECT_EQ(listed["windows"][0]["height"], 240 / scale);
}

TEST_P(ScaledDesktopTests, AnAreaInPointsIsRecordedToThePixel) {
    const PixelRect part{pixels(33), pixels(21), pixels(201), pixels(117)};
    painter->fill(part.x, part.y, part.width, part.height, 0xFFFFFF);
    expectRecorded({"--area", "33,21,201,117"}, part, {255, 255, 255});
}

/// One at whole points; what is recorded of others reaches out to the next ones.
TEST_P(ScaledDesktopTests, AWindowIsRecordedToThePixel) {
    const TestWindow window(desktop.display().displayName(),
                            {.frame = {60, 90, 300, 240}, .colour = 0x2060ff, .managed = true, .title = "x"});
    expectRecorded({"--window", std::to_string(window.id())}, {60, 90, 300, 240}, {0x20, 0x60, 0xff});
}

}  // namespace
}  // namespace lumicrate::test
