// SPDX-License-Identifier: GPL-3.0-or-later
// The application, driven as a person drives it: by keys and clicks, on a desktop with a window manager.
#include "Tests/App/DesktopAppTest.h"
#include "Tests/App/SessionManager.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Views/Shell/NotifierHost.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <algorithm>
#include <sstream>

namespace lumicrate::test {
namespace {

using namespace nlohmann::literals;

using testing::IsEmpty;
using testing::SizeIs;

bool isLike(const Rgb& a, const Rgb& b, int tolerance = 24) {
    return a.distanceTo(b) <= tolerance;
}

class DesktopAppTests : public DesktopAppTest {
 protected:
    DesktopAppTests() : DesktopAppTest(true) {
        stage::runProgram({"xsetroot", "-solid", "#5a7a9a"});
        prefer("captureMode=screen\nhighlightClicks=true\n");
    }

    /// The centre of the control bar's red square, once it is there, below `top`.
    static std::pair<int, int> stopButton(int top = height - 60) {
        std::pair<int, int> center;
        const auto find = [&] {
            const std::vector<Rgb> seen = Painter().read(0, top, width, height - top);
            int left = width, right = 0, first = height, last = 0;
            for (int y = 0; y < height - top; ++y) {
                for (int x = 0; x < width; ++x) {
                    if (!isLike(seen[static_cast<std::size_t>(y * width + x)], {255, 69, 58}, 20)) continue;
                    left = std::min(left, x);
                    right = std::max(right, x);
                    first = std::min(first, y);
                    last = std::max(last, y);
                }
            }
            center = {(left + right) / 2, top + (first + last) / 2};
            return right > left;
        };
        if (!eventually(find)) throw std::runtime_error("There is no control bar");
        return center;
    }
    /// Whether any, and whether all pictures have a pixel that fulfils the condition.
    template <class Condition>
    static std::pair<bool, bool> anyAndAll(const std::filesystem::path& file, int x, int y,
                                           Condition condition) {
        std::pair result(false, true);
        MovieProbe(file).visitPictures([&](const Picture& picture) {
            const bool holds = condition(picture.rgbAt(x, y));
            result = {result.first || holds, result.second && holds};
            return true;
        });
        return result;
    }
};

TEST_F(DesktopAppTests, RecordsByKeysAndStopsByTheBar) {
    start();
    run({});  // brings its window forward
    xdotool(
        {"search", "--sync", "--onlyvisible", "--name", "^Lumicrate$", "windowmove", "--sync", "500", "40"});
    xdotool({"mousemove", "200", "200"});
    xdotool({"key", "alt+super+r"});
    awaitState("countingDown");
    awaitState("recording");
    click(200, 200);
    const auto [x, y] = stopButton();
    xdotool({"key", "alt+super+p"});
    const double paused = awaitState("paused")["elapsed"];
    xdotool({"key", "alt+super+p"});
    awaitState("recording");
    ASSERT_TRUE(eventually([&] { return status()["elapsed"] > paused + 0.5; }));
    const double before = status()["elapsed"];
    click(x, y);
    awaitState("idle");

    const auto files = recordings();
    ASSERT_THAT(files, SizeIs(1));
    const double duration = MovieProbe(files.front()).duration();
    EXPECT_GE(duration, before - 0.1);
    EXPECT_LE(duration, before + 3);
    const auto isGround = [](const Rgb& color) { return isLike(color, {90, 122, 154}); };
    EXPECT_TRUE(anyAndAll(files.front(), width / 2, height / 2, isGround).second) << "countdown or window";
    EXPECT_TRUE(anyAndAll(files.front(), x - 60, y, isGround).second) << "control bar";
    const auto isYellow = [](const Rgb& color) {
        return color.red > color.blue + 60 && color.green > color.blue + 40;
    };
    bool isHighlighted = false;
    for (int ring = 210; ring <= 234 && !isHighlighted; ring += 4)
        isHighlighted = anyAndAll(files.front(), ring, 200, isYellow).first;
    EXPECT_TRUE(isHighlighted);
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

TEST_F(DesktopAppTests, TheBarFollowsTheRecordedWindow) {
    prefer("captureMode=window\ncountdown=false\n");
    TestWindow window(display(),
                      {.frame = {60, 100, 300, 200}, .colour = 0x2060c0, .managed = true, .title = "Notes"});
    xdotool({"windowmove", "--sync", std::to_string(window.id()), "60", "100"});
    // A notification, because a menu of this process would belong to the recorded window.
    TestWindow above(display(), {.frame = {160, 160, 100, 80}, .colour = 0xff00ff});
    above.unmap();
    above.setProperty("_NET_WM_WINDOW_TYPE", "ATOM",
                      {above.connection().internAtom("_NET_WM_WINDOW_TYPE_NOTIFICATION")});
    start();
    xdotool({"mousemove", "200", "200"});
    xdotool({"key", "alt+super+r"});
    awaitState("selectingArea");
    // The overlay may appear a moment later.
    ASSERT_TRUE(eventually([] {
        xdotool({"click", "1"});
        return status()["state"] == "recording";
    }));
    above.map();
    // Until the window is in the first picture.
    ASSERT_TRUE(eventually([] { return status()["elapsed"] > 0.2; }));
    xdotool({"mousemove", "10", "790"});
    std::pair<int, int> before;
    ASSERT_TRUE(eventually([&] { return (before = stopButton(305)).first <= 400; }));
    xdotool({"windowmove", std::to_string(window.id()), "160", "240"});
    const std::pair expected(before.first + 100, before.second + 140);
    EXPECT_TRUE(eventually([&] { return stopButton(305) == expected; }));
    // The bar may follow before the next picture is taken.
    const double followed = status()["elapsed"];
    ASSERT_TRUE(eventually([&] { return status()["elapsed"] > followed + 0.2; }));
    click(expected.first, expected.second);
    awaitState("idle");
    const auto files = recordings();
    ASSERT_THAT(files, SizeIs(1));
    std::vector<bool> blue;
    MovieProbe(files.front()).visitPictures([&](const Picture& picture) {
        blue.push_back(isLike(picture.rgbAt(picture.width / 2, picture.height / 2), {0x20, 0x60, 0xc0}));
        return true;
    });
    // Its place is checked eight times per second, so it may be out of one picture.
    EXPECT_LE(std::count(blue.begin(), blue.end(), false), 1);
    EXPECT_TRUE(blue.front() && blue.back());
}

TEST_F(DesktopAppTests, SavesTheLastSecondsOnRequest) {
    prefer("replaySeconds=15\nopenPreview=false\n");
    const RunningScene scene({"moving"});
    start();
    const auto seconds = [] { return status().value("/replay/seconds"_json_pointer, 0.0); };
    ASSERT_TRUE(eventually([&] { return seconds() > 2; }));
    EXPECT_THAT(recordings(), IsEmpty()) << "nothing is written before";
    const double kept = seconds();
    const Outcome saved = run({"replay", "--save"});
    ASSERT_EQ(saved.status, 0) << saved.output;
    xdotool({"key", "alt+super+s"});
    ASSERT_TRUE(eventually([] { return recordings().size() == 2; }));
    MovieProbe movie(saved.file());
    EXPECT_GE(movie.duration(), kept);
    EXPECT_LT(movie.duration(), kept + 3);
    EXPECT_GT(movie.pictureTimes().size(), 30U);

    EXPECT_EQ(run({"settings", "replaySeconds", "0"}).status, 0);
    ASSERT_TRUE(eventually([&] { return seconds() == 0; }));
    EXPECT_EQ(run({"replay", "--save"}).status, 1);
}

TEST_F(DesktopAppTests, EveryWayToQuitSavesTheRecording) {
    prefer("captureMode=screen\ncountdown=false\n");
    const RunningScene scene({"moving"});
    const std::vector<std::function<void()>> endings{
        [] { send("quit"); },
        [this] { app->process().signal(SIGTERM); },
        [this] { app->process().signal(SIGHUP); },
    };
    for (std::size_t i = 0; i < endings.size(); ++i) {
        start();
        send("toggle");
        awaitState("recording");
        awaitGrowth(awaitRecording());
        endings[i]();
        EXPECT_EQ(app->end().status, 0);
        const auto files = recordings();
        ASSERT_THAT(files, SizeIs(i + 1));
        expectPlayable(files.front());
    }
}

TEST_F(DesktopAppTests, TheSessionEndsOnlyAfterTheRecordingIsSaved) {
    prefer("captureMode=screen\ncountdown=false\n");
    const RunningScene scene({"moving"});
    SessionManager session;
    app.emplace(std::vector<std::string>{"--background"},
                stage::Environment{{"SESSION_MANAGER", session.address()}});
    ASSERT_TRUE(session.awaitProgram());
    awaitState("idle");
    send("toggle");
    awaitState("recording");
    const std::filesystem::path recording = awaitRecording();
    awaitGrowth(recording);
    ASSERT_TRUE(session.askToSave());
    // The session may be over from now on.
    expectPlayable(recording);
    app->stop(SIGTERM);
}

TEST_F(DesktopAppTests, CommandsTalkToTheOnlyInstance) {
    for (const char* command : {"toggle", "pause", "area", "status", "quit"})
        expectFailure(run({command}), 1, "Lumicrate is not running, or cannot be reached.");
    start();
    EXPECT_EQ(run({}).status, 0) << "the second instance ends at once";
    EXPECT_EQ(run({"status"}).output, "idle\n");
    send("quit");
    EXPECT_EQ(app->end().status, 0);
}

TEST_F(DesktopAppTests, OtherProgramsRecordOverTheBus) {
    using testing::HasSubstr;
    const auto ask = [](const QString& interface, const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall("org.lumicrate.Lumicrate",
                                                              "/org/lumicrate/Lumicrate", interface, method);
        message.setArguments(arguments);
        return QDBusConnection::sessionBus().call(message);
    };
    /// The sentence of the refusal.
    const auto call = [&](const QString& method, const QVariantList& arguments = {}) {
        return ask("org.lumicrate.Lumicrate.Recorder1", method, arguments).errorMessage().toStdString();
    };
    const auto recordBy = [&](const QString& mode, const QVariantMap& options) {
        return call("Record", {mode, options});
    };
    EXPECT_EQ(run({"settings", "afterSave", "cp {} {}.copy"}).status, 0);
    start();
    Program follower({"status", "--follow", "--json"});
    EXPECT_EQ(nlohmann::json::parse(follower.process().readLine())["state"], "idle");
    stage::ChildProcess monitor(
        {"dbus-monitor", "--profile", "interface='org.lumicrate.Lumicrate.Recorder1'"});
    const std::string expected = run({"generate", "dbus"}).output;
    const auto begin = expected.find("  <interface"), end = expected.find("</node>");
    EXPECT_THAT(ask("org.freedesktop.DBus.Introspectable", "Introspect", {})
                    .arguments()
                    .value(0)
                    .toString()
                    .toStdString(),
                HasSubstr(expected.substr(begin, end - begin)));

    EXPECT_EQ(recordBy("hologram", {}), "There is no mode “hologram”.");
    EXPECT_EQ(recordBy("", {{"after-save", "rm"}}), "There is no option “after-save” here.");
    EXPECT_THAT(recordBy("", {{"fps", 25}}), HasSubstr("“25” is not a valid value"));
    EXPECT_THAT(recordBy("screen", {{"screen", "HDMI-7"}}), HasSubstr("no screen “HDMI-7”"));
    EXPECT_EQ(recordBy("area", {{"area", "100,100,320,200"},
                                {"countdown", false},
                                {"fps", 15},
                                {"output", QString::fromStdString(file.string())}}),
              "");
    EXPECT_EQ(awaitRecording(), file);
    EXPECT_EQ(recordBy("", {}), "Another recording is in progress.");
    call("Pause");
    call("Resume");
    ASSERT_TRUE(eventually([&] { return status()["elapsed"] > 0.5; }));
    call("Stop");
    awaitState("idle");
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(file.string() + ".copy"); }));
    EXPECT_EQ(MovieProbe(file).tracks().at(0).width, 320);
    send("quit");
    app->end();

    std::vector<std::string> states;
    std::istringstream lines(follower.end().output);
    for (std::string line; std::getline(lines, line);)
        states.push_back(nlohmann::json::parse(line)["state"]);
    EXPECT_THAT(states, testing::ElementsAre("idle", "starting", "recording", "paused", "recording",
                                             "stopping", "idle"));
    for (const char* event : {"RecordingStarted", "RecordingSaved"})
        EXPECT_THAT(monitor.standardOutput(), HasSubstr(event));
}

TEST_F(DesktopAppTests, ShowsARecordingUnderALocaleWithDecimalCommas) {
    const auto paintScreen = [](std::uint32_t rgb) { Painter().fill(0, 0, width, height, rgb); };
    const auto isRed = [](const Rgb& color) { return isLike(color, {224, 32, 32}); };
    stage::runProgram({"localedef", "-i", "de_DE", "-f", "UTF-8", folder / "de_DE.UTF-8"});
    const stage::Environment german{{"LOCPATH", folder.path().string()}, {"LC_ALL", "de_DE.UTF-8"}};
    paintScreen(0xe02020);
    recordToEnd({"--screen", "--duration", "1"});
    paintScreen(0x2040a0);
    Program preview({"open", file}, german);
    EXPECT_TRUE(eventually([&] {
        const std::vector<Rgb> seen = Painter().read(0, 0, width, height);
        return std::count_if(seen.begin(), seen.end(), isRed) > width * height / 10;
    }));
    preview.stop(SIGTERM);
}

TEST_F(DesktopAppTests, RunsWithoutASessionBus) {
    const TemporaryFolder elsewhere;
    const stage::Environment withoutBus{{"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                                        {"XDG_RUNTIME_DIR", elsewhere.path().string()}};
    Program alone({}, withoutBus);
    xdotool({"search", "--sync", "--onlyvisible", "--name", "^Lumicrate$"});
    EXPECT_EQ(run({"status"}, withoutBus).status, 1);
    alone.stop(SIGTERM);
}

TEST_F(DesktopAppTests, WithoutADisplayItFailsWithASentence) {
    for (const std::optional<std::string>& server :
         {std::optional<std::string>(), std::optional(std::string(":4711"))})
        expectFailure(run({}, {{"DISPLAY", server}}), 1, "No display server can be reached");
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
