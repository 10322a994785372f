// The application, driven as a person drives it: by keys and clicks, on a desktop with a window manager.
#include "Tests/App/DrivenApp.h"
#include "Tests/App/SessionManager.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Views/Shell/NotifierHost.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using stage::Picture;
using stage::Rgb;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int width = 1280;
constexpr int height = 800;
constexpr Rgb ground{90, 122, 154};

bool isLike(const Rgb& a, const Rgb& b, int tolerance = 24) {
    return a.distanceTo(b) <= tolerance;
}

class DesktopAppTests : public DrivenApp {
 protected:
    void SetUp() override {
        std::filesystem::remove_all(recordingsFolder());
        prefer("captureMode=screen\nwelcomeShown=true\nhighlightClicks=true\n");
    }

    /// The middle of the bar's red square, where it comes to be at the screen's bottom or below `top`.
    static std::pair<int, int> stopButton(int top = height - 60) {
        for (int i = 0; i < 200; ++i) {
            const std::vector<Rgb> seen = Painter().read(0, top, width, height - top);
            int left = width;
            int right = 0;
            int first = height;
            int last = 0;
            for (int y = 0; y < height - top; ++y) {
                for (int x = 0; x < width; ++x) {
                    if (!isLike(seen[static_cast<std::size_t>(y * width + x)], {255, 69, 58}, 20)) continue;
                    left = std::min(left, x);
                    right = std::max(right, x);
                    first = std::min(first, y);
                    last = std::max(last, y);
                }
            }
            if (right > left) return {(left + right) / 2, top + (first + last) / 2};
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        throw std::runtime_error("There is no control bar");
    }
};

/// The least and greatest distance of a place's colour from the ground, over all pictures.
struct Seen {
    bool alwaysGround = true;
    bool everYellow = false;
};

Seen lookAt(MovieProbe& movie, int x, int y) {
    Seen seen;
    movie.visitPictures([&](const Picture& picture) {
        const Rgb color = picture.rgbAt(x, y);
        if (!isLike(color, ground)) seen.alwaysGround = false;
        if (color.red > color.blue + 60 && color.green > color.blue + 40) seen.everYellow = true;
        return true;
    });
    return seen;
}

TEST_F(DesktopAppTests, RecordsByKeysAndStopsByTheBar) {
    start();
    xdotool({"mousemove", "200", "200"});
    xdotool({"key", "alt+super+r"});
    awaitState("countingDown");
    awaitState("recording");
    click({200, 200});
    const std::pair<int, int> stop = stopButton();
    xdotool({"key", "alt+super+p"});
    const double paused = awaitState("paused")["elapsed"];
    xdotool({"key", "alt+super+p"});
    awaitState("recording");
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const double before = status()["elapsed"];
    EXPECT_GE(before, paused + 0.9);
    click(stop);
    awaitState("idle");

    const auto files = recordings();
    ASSERT_THAT(files, SizeIs(1));
    MovieProbe movie(files.front());
    EXPECT_GE(movie.duration(), before - 0.1);
    EXPECT_LE(movie.duration(), before + 3);
    EXPECT_TRUE(lookAt(movie, width / 2, height / 2).alwaysGround);         // countdown and main window
    EXPECT_TRUE(lookAt(movie, stop.first - 60, stop.second).alwaysGround);  // the bar
    EXPECT_TRUE(lookAt(movie, 200 + 22, 200).everYellow || lookAt(movie, 200 + 26, 200).everYellow);
}

TEST_F(DesktopAppTests, ACountdownIsCancelledByShortcutAndByMenu) {
    NotifierHost panel;
    start();
    ASSERT_TRUE(await([&] { return panel.hasItem(); }));
    for (const bool byMenu : {false, true}) {
        xdotool({"key", "alt+super+r"});
        awaitState("countingDown");
        if (byMenu) {
            EXPECT_TRUE(panel.choose("Cancel Countdown"));
        } else {
            xdotool({"key", "alt+super+r"});
        }
        awaitState("idle");
    }
    EXPECT_THAT(recordings(), IsEmpty());
    EXPECT_TRUE(panel.choose("Quit Lumicrate"));
    EXPECT_EQ(app->end().status, 0);
}

TEST_F(DesktopAppTests, TheBarGoesWithTheRecordedWindow) {
    prefer("captureMode=window\nwelcomeShown=true\ncountdown=false\n");
    TestWindow window(desktop->display().displayName(),
                      {.frame = {60, 100, 300, 200}, .colour = 0x2060c0, .managed = true, .title = "Notes"});
    xdotool({"windowmove", "--sync", std::to_string(window.id()), "60", "100"});
    start();
    xdotool({"mousemove", "200", "200"});
    xdotool({"key", "alt+super+r"});
    awaitState("selectingArea");
    // From the moment at which the overlay is there.
    ASSERT_TRUE(comesTrue([] {
        xdotool({"click", "1"});
        return status()["state"] == "recording";
    }));
    // It is to be in the first picture.
    ASSERT_TRUE(comesTrue([] { return status()["elapsed"] > 0.2; }));
    xdotool({"mousemove", "10", "790"});
    std::pair<int, int> before = stopButton(305);
    for (int i = 0; i < 200 && before.first > 400; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        before = stopButton(305);
    }
    xdotool({"windowmove", std::to_string(window.id()), "160", "240"});
    const std::pair<int, int> expected{before.first + 100, before.second + 140};
    std::pair<int, int> now = before;
    for (int i = 0; i < 200 && now != expected; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        now = stopButton(305);
    }
    EXPECT_EQ(now, expected);
    click(now);
    awaitState("idle");
    const auto files = recordings();
    ASSERT_THAT(files, SizeIs(1));
    MovieProbe movie(files.front());
    std::vector<bool> blue;
    movie.visitPictures([&](const Picture& picture) {
        blue.push_back(isLike(picture.rgbAt(picture.width / 2, picture.height / 2), {0x20, 0x60, 0xc0}));
        return true;
    });
    // Looked for eight times a second, it may be out of the picture for one.
    EXPECT_LE(std::count(blue.begin(), blue.end(), false), 1);
    EXPECT_TRUE(blue.front() && blue.back());
}

TEST_F(DesktopAppTests, WhateverEndsItTheRecordingIsWhole) {
    prefer("captureMode=screen\nwelcomeShown=true\ncountdown=false\n");
    const RunningScene scene({"moving"});
    const std::vector<std::function<void()>> endings{
        [] { EXPECT_EQ(run({"quit"}).status, 0); },
        [this] { app->process().signal(SIGTERM); },
        [this] { app->process().signal(SIGHUP); },
    };
    std::size_t expected = 0;
    for (const auto& end : endings) {
        start();
        EXPECT_EQ(run({"toggle"}).status, 0);
        awaitGrowth(awaitState("recording")["file"].get<std::string>());
        end();
        EXPECT_EQ(app->end().status, 0);
        const auto files = recordings();
        ASSERT_THAT(files, SizeIs(++expected));
        MovieProbe movie(files.front());
        EXPECT_TRUE(movie.indexInFront());
        EXPECT_EQ(movie.pictureTimes().size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
    }
}

TEST_F(DesktopAppTests, TheSessionEndsOnlyWhenTheRecordingIsSaved) {
    prefer("captureMode=screen\nwelcomeShown=true\ncountdown=false\n");
    const RunningScene scene({"moving"});
    SessionManager session;
    app.emplace(std::vector<std::string>{"--background"},
                stage::Environment{{"SESSION_MANAGER", session.address()}});
    ASSERT_TRUE(session.awaitProgram());
    awaitState("idle");
    EXPECT_EQ(run({"toggle"}).status, 0);
    const std::filesystem::path file = awaitState("recording")["file"].get<std::string>();
    awaitGrowth(file);
    ASSERT_TRUE(session.askToSave());
    // The session may be over at this very moment.
    MovieProbe movie(file);
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_EQ(movie.pictureTimes().size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
    session.end();
    EXPECT_EQ(app->end().status, 0);
}

TEST_F(DesktopAppTests, ThereIsOneAndItIsSpokenTo) {
    const std::string unreachable = "lumicrate: Lumicrate is not running, or cannot be reached.\n";
    for (const char* command : {"toggle", "pause", "area", "status", "quit"}) {
        const Outcome outcome = run({command});
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_EQ(outcome.error, unreachable);
    }
    start();
    const Outcome second = run({});
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(status()["state"], "idle");
    EXPECT_EQ(run({"status"}).output, "idle\n");
    EXPECT_EQ(run({"quit"}).status, 0);
    EXPECT_EQ(app->end().status, 0);
}

TEST_F(DesktopAppTests, WithoutABusItRunsAllTheSame) {
    const stage::StageFolder elsewhere;
    const stage::Environment without{{"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                                     {"XDG_RUNTIME_DIR", elsewhere.path().string()}};
    Program alone({}, without);
    xdotool({"search", "--sync", "--onlyvisible", "--name", "^Lumicrate$"});
    EXPECT_EQ(run({"status"}, without).status, 1);
    alone.process().signal(SIGTERM);
    EXPECT_EQ(alone.end().status, 0);
}

TEST_F(DesktopAppTests, WithoutADisplayItSaysSo) {
    for (const std::optional<std::string>& display :
         {std::optional<std::string>(), std::optional<std::string>(":4711")}) {
        const Outcome outcome = run({}, {{"DISPLAY", display}});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.error, HasSubstr("No display server can be reached"));
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1);
    }
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    using namespace lumicrate;
    testing::InitGoogleMock(&argc, argv);
    // For all of them: the bus library finds its bus once.
    stage::PrivateDesktop desktop({{test::width, test::height, true, false}, true});
    test::desktop = &desktop;
    stage::runProgram({"xsetroot", "-solid", "#5a7a9a"});
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
