// Recordings of a screen that changes while it is recorded: the real program, on a display whose monitors
// come and go.

#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using stage::Rgb;
using testing::HasSubstr;
using testing::Not;

struct Place {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

void xrandr(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"xrandr"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    stage::ChildProcess(command, {}).mustEnd(30);
}

void setMonitor(const std::string& name, const Place& place) {
    xrandr({"--setmonitor", name,
            std::to_string(place.width) + "/100x" + std::to_string(place.height) + "/100+" +
                std::to_string(place.x) + "+" + std::to_string(place.y),
            "none"});
}

void deleteMonitor(const std::string& name) {
    xrandr({"--delmonitor", name});
}

/// Of a patch of the desktop, 80 points wide and high.
Rgb patchColour(int x, int y) {
    return {40 + x / 80 * 13, 240 - y / 80 * 20, 60 + (x / 80 + y / 80) % 3 * 60};
}

class DisplayEventTests : public testing::Test {
 protected:
    static void SetUpTestSuite() {
        stage::PrivateDesktop::Options options;
        options.display = {1280, 720, true, false};
        options.sound = false;
        desktop = std::make_unique<stage::PrivateDesktop>(options);
    }
    static void TearDownTestSuite() { desktop.reset(); }

    void SetUp() override {
        for (int y = 0; y < 720; y += 80) {
            for (int x = 0; x < 1280; x += 80) {
                const Rgb colour = patchColour(x, y);
                painter.fill(x, y, 80, 80,
                             static_cast<std::uint32_t>(colour.red << 16 | colour.green << 8 | colour.blue));
            }
        }
        setMonitor("beamer", {640, 0, 640, 360});
    }
    void TearDown() override { deleteMonitor("beamer"); }

    /// Paints in the monitor's top left corner until that is in the file.
    void awaitRecorded(int x, int y) {
        std::jthread blinking([this, x, y](const std::stop_token& enough) {
            for (std::uint32_t i = 0; !enough.stop_requested(); ++i) {
                painter.fill(x, y, 16, 16, i % 2 == 0 ? 0xffffff : 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
            }
        });
        awaitGrowth(file);
    }

    static std::unique_ptr<stage::PrivateDesktop> desktop;
    Painter painter;
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "movie.mp4";
};

std::unique_ptr<stage::PrivateDesktop> DisplayEventTests::desktop;

TEST_F(DisplayEventTests, AMonitorThatChangesIsRecordedOnInTheSamePicture) {
    const struct {
        const char* what;
        Place now;      ///< of the recorded monitor
        Place picture;  ///< where it is then seen in the picture of 640 × 360
    } events[] = {
        {"moved", {0, 240, 640, 360}, {0, 0, 640, 360}},
        {"with fewer pixels", {640, 0, 320, 180}, {0, 0, 640, 360}},
        {"turned", {640, 0, 360, 640}, {219, 0, 203, 360}},
        {"with another beside it", {640, 0, 640, 360}, {0, 0, 640, 360}},
    };
    for (const auto& [what, now, picture] : events) {
        SCOPED_TRACE(what);
        const auto begun = std::chrono::steady_clock::now();
        Program program(recordArguments(file, {"--screen=beamer", "--no-cursor"}));
        awaitRecorded(640, 0);
        deleteMonitor("beamer");
        setMonitor("beamer", now);
        setMonitor("other", {0, 0, 320, 240});
        awaitRecorded(now.x, now.y);
        program.process().signal(SIGINT);
        const Outcome outcome = program.end();
        const std::chrono::duration<double> ran = std::chrono::steady_clock::now() - begun;
        deleteMonitor("other");
        EXPECT_EQ(outcome.status, 0) << outcome.error;

        MovieProbe movie(file);
        EXPECT_TRUE(movie.indexInFront());
        EXPECT_LE(movie.duration(), ran.count());
        const std::vector<double> times = movie.pictureTimes();
        EXPECT_EQ(times.size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
        const stage::OwnedPicture last = movie.lastPicture();
        ASSERT_EQ(last->width, 640);
        ASSERT_EQ(last->height, 360);
        // The middle of every whole patch that the monitor now shows.
        for (int y = 120; y + 40 <= now.height; y += 80) {
            for (int x = 120; x + 40 <= now.width; x += 80) {
                const Rgb shown = last->rgbAt(picture.x + x * picture.width / now.width,
                                              picture.y + y * picture.height / now.height);
                EXPECT_LE(shown.distanceTo(patchColour(now.x + x, now.y + y)), 8) << x << ", " << y;
            }
        }
        if (picture.x > 0) {
            EXPECT_LE(last->rgbAt(picture.x / 2, 180).distanceTo({0, 0, 0}), 3);
        }
        std::filesystem::remove(file);
        deleteMonitor("beamer");
        setMonitor("beamer", {640, 0, 640, 360});
    }
}

TEST_F(DisplayEventTests, AMonitorThatGoesEndsTheRecordingWithASentence) {
    Program program(recordArguments(file, {"--screen=beamer"}));
    awaitRecorded(640, 0);
    deleteMonitor("beamer");
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.error, HasSubstr("Recording stopped: The display is no longer available."));
    EXPECT_EQ(outcome.file(), file);
    MovieProbe movie(file);
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_EQ(movie.pictureTimes().size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
    setMonitor("beamer", {0, 0, 100, 100});
}

TEST_F(DisplayEventTests, AnotherMonitorThatGoesIsNobodysBusiness) {
    setMonitor("other", {0, 0, 320, 240});
    Program program(recordArguments(file, {"--screen=beamer"}));
    awaitRecorded(640, 0);
    deleteMonitor("other");
    awaitRecorded(640, 0);
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.error, Not(HasSubstr("stopped")));
}

}  // namespace
}  // namespace lumicrate::test
