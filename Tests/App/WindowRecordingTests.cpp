// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings of a window that is moved, resized, covered and closed. Every cell of the window has a colour
// that tells its place in the window.
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace lumicrate::test {
namespace {

constexpr int cell = 10;
constexpr std::uint32_t occluder = 0xff00ff;
constexpr std::uint32_t wallpaper = 0x00a000;

/// A window whose cells all have different colours.
class MarkedWindow {
 public:
    MarkedWindow(const std::string& displayName, const PixelRect& frame, bool managed = false)
        : window(displayName, {.frame = frame, .colour = 0, .managed = managed, .title = "marked"}) {
        draw(frame.width, frame.height);
    }

    void place(const PixelRect& frame) {
        window.place(frame);
        draw(frame.width, frame.height);
    }
    /// Changes the first cell a little.
    void blink(bool on) {
        for (int y = 0; y < cell; ++y)
            std::fill_n(picture_.row(y), cell, on ? 0x282cc8U : 0x2828c8U);
        window.fill(picture_);
    }
    std::string id() const { return std::to_string(window.id()); }

    TestWindow window;

 private:
    void draw(int width, int height) {
        picture_ = x11::BgraPicture(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                picture_.row(y)[x] =
                    static_cast<std::uint32_t>((40 + x / cell * 6) << 16 | (40 + y / cell * 10) << 8 | 200);
            }
        }
        window.fill(picture_);
    }

    x11::BgraPicture picture_;
};

/// What a picture shows of the window.
struct Appearance {
    int black = 0;
    int marked = 0;
    int foreign = 0;  ///< samples of an occluder or the desktop; samples on edges are not counted
    /// Mean place of the window's top left corner in the picture, and the largest deviation from it.
    double x = 0;
    double y = 0;
    double spread = 0;
};

Appearance analyze(const Picture& picture, double scale = 1) {
    Appearance seen;
    std::vector<std::pair<double, double>> corners;
    for (int y = 3; y < picture.height; y += 5) {
        for (int x = 3; x < picture.width; x += 5) {
            const Rgb colour = picture.rgbAt(x, y);
            if (colour.distanceTo({0, 0, 0}) < 24) {
                ++seen.black;
            } else if (colour.blue > 180 && colour.red < 230 && colour.green > 30) {
                ++seen.marked;
                corners.emplace_back(x - scale * (std::lround((colour.red - 40) / 6.0) + 0.5) * cell,
                                     y - scale * (std::lround((colour.green - 40) / 10.0) + 0.5) * cell);
            } else if (colour.distanceTo({0xff, 0, 0xff}) < 60 || colour.distanceTo({0, 0xa0, 0}) < 60) {
                ++seen.foreign;
            }
        }
    }
    for (const auto& [x, y] : corners) {
        seen.x += x / static_cast<double>(corners.size());
        seen.y += y / static_cast<double>(corners.size());
    }
    for (const auto& [x, y] : corners)
        seen.spread = std::max({seen.spread, std::abs(x - seen.x), std::abs(y - seen.y)});
    return seen;
}

/// With a compositing manager and without one.
class WindowRecordingTests : public ProgramTest, public testing::WithParamInterface<bool> {
 protected:
    static constexpr int width = 200;
    static constexpr int height = 150;

    WindowRecordingTests() : ProgramTest({.display = {1280, 480, true, false}, .sound = false}) {
        setCompositor(GetParam());
        setMonitor("left", "640/170x480/127+0+0");
        setMonitor("right", "640/170x480/127+640+0");
        background.emplace(display(), TestWindow::Look{.frame = {0, 0, 1280, 480}, .colour = wallpaper});
        marked.emplace(display(), PixelRect{100, 100, width, height});
    }

    void TearDown() override {
        for (const char* monitor : {"left", "right"})
            deleteMonitor(monitor);
    }

    void start() {
        program.emplace(recordArguments(file, {"--window", marked->id(), "--no-cursor"}));
        awaitRecorded();
    }
    /// Waits until the window's present state is in the file, and the recording follows its present place.
    void awaitRecorded() {
        pass(0.3);
        awaitGrowth(file, [this](bool on) { marked->blink(on); });
    }
    MovieProbe& stop() {
        program->stop();
        return movie.emplace(file);
    }
    /// Expects every picture to show only the window, in one piece, and black.
    void expectPure() {
        movie->visitPictures([&](const Picture& picture) {
            const Appearance seen = analyze(picture);
            EXPECT_EQ(seen.foreign, 0) << "at " << picture.time;
            EXPECT_LE(seen.spread, 1.5 * cell) << "at " << picture.time;
            return true;
        });
    }

    std::optional<TestWindow> background;
    std::optional<MarkedWindow> marked;
    std::optional<Program> program;
    std::optional<MovieProbe> movie;
};

INSTANTIATE_TEST_SUITE_P(Composition, WindowRecordingTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(WindowRecordingTests, ADraggedAndCoveredWindowIsRecordedWholeAndAlone) {
    TestWindow above(display(), {.frame = {150, 120, 80, 60}, .colour = occluder});
    start();
    // Below the other window, and below its edges.
    for (int step = 0; step <= 60; ++step) {
        marked->window.move(100 + step * 5, 100 + step * 2);
        if (step % 10 == 5) above.move(120 + step * 5, 110 + step * 2);
        pass(0.015);
    }
    awaitRecorded();
    stop();
    expectPure();
    EXPECT_EQ(movie->videoTrack().width, width);
    EXPECT_EQ(movie->videoTrack().height, height);
    const stage::OwnedPicture last = movie->lastPicture();
    EXPECT_EQ(analyze(*last).black, 0);
    EXPECT_NEAR(analyze(*last).x, 0, 1.5);
    EXPECT_NEAR(analyze(*last).y, 0, 1.5);
}

TEST_P(WindowRecordingTests, TheCropShowsThePartOnTheDisplay) {
    const struct {
        const char* what;
        PixelRect frame;
        double scale;
        PixelRect shown;  ///< where the picture shows something of the window
        double x, y;      ///< where the window's top left corner is then
    } places[] = {
        {"half off to the left", {-100, 100, width, height}, 1, {50, 0, 100, 150}, -50, 0},
        {"half on the other display", {540, 100, width, height}, 1, {50, 0, 100, 150}, 50, 0},
        {"wider", {100, 100, 300, 150}, 2.0 / 3, {0, 25, 200, 100}, 0, 25},
        {"smaller", {100, 100, 100, 75}, 2, {0, 0, 200, 150}, 0, 0},
    };
    for (const auto& [what, frame, scale, shown, x, y] : places) {
        SCOPED_TRACE(what);
        marked.emplace(display(), PixelRect{100, 100, width, height});
        start();
        marked->place(frame);
        awaitRecorded();
        const stage::OwnedPicture last = stop().lastPicture();
        const Appearance seen = analyze(*last, scale);
        EXPECT_NEAR(seen.x, x, 2);
        EXPECT_NEAR(seen.y, y, 2);
        EXPECT_LE(seen.spread, 1.5 * cell * std::max(scale, 1.0));
        const double part = static_cast<double>(shown.area()) / (width * height);
        EXPECT_NEAR(static_cast<double>(seen.marked) / (seen.marked + seen.black + seen.foreign), part, 0.06);
        EXPECT_LE(last->rgbAt(std::max(shown.x - 3, 0), std::max(shown.y - 3, 0)).red,
                  shown.x + shown.y > 0 ? 24 : 255);
        movie.reset();
        std::filesystem::remove(file);
    }
}

TEST_P(WindowRecordingTests, AClosedWindowLeavesItsLastPicture) {
    start();
    const auto begun = std::chrono::steady_clock::now();
    marked.reset();
    // Reuses the freed window ID.
    TestWindow instead(display(), {.frame = {100, 100, width, height}, .colour = occluder});
    pass(1);
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begun;
    EXPECT_GT(stop().duration(), passed.count());
    expectPure();
    EXPECT_EQ(analyze(*movie->lastPicture()).black, 0);
}

TEST_P(WindowRecordingTests, AMinimizedWindowFreezesUntilItIsRestored) {
    marked.emplace(display(), PixelRect{100, 100, width, height}, true);
    const auto manage = [this](const char* command) { xdotool({command, "--sync", marked->id()}); };
    start();
    manage("windowminimize");
    pass(0.5);
    manage("windowmap");
    marked->window.fill(0x28dcc8);
    pass(0.5);
    const stage::OwnedPicture last = stop().lastPicture();
    EXPECT_LE(last->rgbAt(last->width / 2, last->height / 2).distanceTo({0x28, 0xdc, 0xc8}), 8);
    EXPECT_GT(movie->duration(), 1);
}

}  // namespace
}  // namespace lumicrate::test
