// Recordings of a window that is moved, resized, covered and closed: the real program, with windows whose
// every cell says where in the window it lies.

#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <memory>
#include <optional>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using stage::Picture;
using stage::Rgb;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int cell = 10;
constexpr std::uint32_t occluder = 0xff00ff;
constexpr std::uint32_t wallpaper = 0x00a000;

/// A window of which every cell has a colour of its own.
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
    /// Makes a difference in the first cell, a small one.
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
struct Seen {
    int black = 0;
    int marked = 0;
    int foreign = 0;  ///< samples of an occluder or the desktop; what lies on an edge is none of all these
    /// Where the window's top left corner is in the picture, on average and at most away from that.
    double x = 0;
    double y = 0;
    double spread = 0;
};

Seen look(const Picture& picture, double scale = 1) {
    Seen seen;
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
class WindowRecordingTests : public testing::TestWithParam<bool> {
 protected:
    static constexpr int width = 200;
    static constexpr int height = 150;

    WindowRecordingTests() {
        stage::PrivateDesktop::Options options;
        options.display = {1280, 480, true, GetParam()};
        options.sound = false;
        desktop.emplace(options);
        for (const auto& [name, place] :
             {std::pair{"left", "640/170x480/127+0+0"}, {"right", "640/170x480/127+640+0"}})
            stage::ChildProcess({"xrandr", "--setmonitor", name, place, "none"}, {}).mustEnd(30);
        desktopPicture.emplace(display(), TestWindow::Look{.frame = {0, 0, 1280, 480}, .colour = wallpaper});
        marked.emplace(display(), PixelRect{100, 100, width, height});
    }

    std::string display() { return desktop->display().displayName(); }

    void start() {
        program.emplace(recordArguments(file, {"--window", marked->id(), "--no-cursor"}));
        awaitRecorded();
    }
    /// Until what the window shows now is in the file, and following has caught up.
    void awaitRecorded() {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::jthread blinking([this](const std::stop_token& enough) {
            for (std::uint32_t i = 0; !enough.stop_requested(); ++i) {
                marked->blink(i % 2 == 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
            }
        });
        awaitGrowth(file);
    }

    MovieProbe& stop() {
        program->process().signal(SIGINT);
        const Outcome outcome = program->end();
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        return movie.emplace(file);
    }
    /// Every picture shows the window and black, nothing else, and the window in one piece.
    void expectPure() {
        movie->visitPictures([&](const Picture& picture) {
            const Seen seen = look(picture);
            EXPECT_EQ(seen.foreign, 0) << "at " << picture.time;
            EXPECT_LE(seen.spread, 1.5 * cell) << "at " << picture.time;
            return true;
        });
    }

    std::optional<stage::PrivateDesktop> desktop;
    std::optional<TestWindow> desktopPicture;
    std::optional<MarkedWindow> marked;
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "movie.mp4";
    std::optional<Program> program;
    std::optional<MovieProbe> movie;
};

INSTANTIATE_TEST_SUITE_P(Composition, WindowRecordingTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(WindowRecordingTests, AWindowIsWholeAndAloneWhileItIsDraggedAndCovered) {
    TestWindow above(display(), {.frame = {150, 120, 80, 60}, .colour = occluder});
    start();
    // Under the other one, and under its edges, to and fro.
    for (int step = 0; step <= 60; ++step) {
        marked->window.move(100 + step * 5, 100 + step * 2);
        if (step % 10 == 5) above.move(120 + step * 5, 110 + step * 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    }
    awaitRecorded();
    stop();
    expectPure();
    EXPECT_EQ(movie->videoTrack().width, width);
    EXPECT_EQ(movie->videoTrack().height, height);
    const stage::OwnedPicture last = movie->lastPicture();
    EXPECT_EQ(look(*last).black, 0);
    EXPECT_NEAR(look(*last).x, 0, 1.5);
    EXPECT_NEAR(look(*last).y, 0, 1.5);
}

TEST_P(WindowRecordingTests, TheCropIsWhatTheDisplayShowsOfTheWindow) {
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
        const Seen seen = look(*last, scale);
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

TEST_P(WindowRecordingTests, OnAnotherDisplayTheCropStaysWhereItWas) {
    start();
    for (int x = 100; x <= 800; x += 20) {
        marked->window.move(x, 100);
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    marked->window.move(110, 90);
    awaitRecorded();
    stop();
    expectPure();
    const stage::OwnedPicture last = movie->lastPicture();
    EXPECT_NEAR(look(*last).x, 0, 1.5);
    EXPECT_EQ(look(*last).black, 0);
}

TEST_P(WindowRecordingTests, AWindowThatGoesLeavesItsLastPicture) {
    start();
    const auto begun = std::chrono::steady_clock::now();
    marked.reset();
    // Gets the number that has become free.
    TestWindow instead(display(), {.frame = {100, 100, width, height}, .colour = occluder});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begun;
    EXPECT_GT(stop().duration(), passed.count());
    expectPure();
    EXPECT_EQ(look(*movie->lastPicture()).black, 0);
}

TEST_P(WindowRecordingTests, AMinimizedWindowStandsStillAndGoesOnWhenItIsBack) {
    marked.emplace(display(), PixelRect{100, 100, width, height}, true);
    const auto manage = [this](const char* command) {
        stage::ChildProcess({"xdotool", command, "--sync", marked->id()}, {}).mustEnd(30);
    };
    start();
    manage("windowminimize");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    manage("windowmap");
    marked->window.fill(0x28dcc8);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const stage::OwnedPicture last = stop().lastPicture();
    EXPECT_LE(last->rgbAt(last->width / 2, last->height / 2).distanceTo({0x28, 0xdc, 0xc8}), 8);
    EXPECT_GT(movie->duration(), 1);
}

}  // namespace
}  // namespace lumicrate::test
