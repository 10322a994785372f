// SPDX-License-Identifier: GPL-3.0-or-later
// The real program in Wayland sessions: under sway with its desktop portal, and with the portal's double for
// what sway's does not do.
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/PipeWire/VirtualScreen.h"
#include "Tests/Linux/Portal/PortalDouble.h"
#include "Tests/Stage/Scene/FrameNumber.h"
#include "Tests/Stage/WaylandDesktop.h"

#include <linux/input-event-codes.h>

#include <atomic>
#include <thread>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const stage::Environment recorderLog{{"LUMICRATE_LOG", "recorder,capture"}};

/// The numbers in the corner of a movie's pictures; -1 for none.
std::vector<int> numbersIn(const std::filesystem::path& file) {
    std::vector<int> numbers;
    MovieProbe(file).visitPictures([&](const Picture& picture) {
        numbers.push_back(stage::FrameNumber::read(picture.luma()).value_or(-1));
        return true;
    });
    return numbers;
}

/// Pictures of something that counts: none without a number, none twice, none out of order. A repeat is shown
/// once a second for players.
void expectCounting(const std::filesystem::path& file, int atLeast) {
    expectPlayable(file);
    std::vector<int> numbers = numbersIn(file);
    EXPECT_THAT(numbers, testing::Each(testing::Ge(0)));
    EXPECT_TRUE(std::ranges::is_sorted(numbers));
    numbers.erase(std::ranges::unique(numbers).begin(), numbers.end());
    EXPECT_GE(static_cast<int>(numbers.size()), atLeast);
}

class WaylandSessionTests : public testing::Test {
 protected:
    void SetUp() override {
        if (const auto missing = stage::WaylandDesktop::missingPrograms(); !missing.empty())
            GTEST_SKIP() << missing;
        desktop.emplace(
            stage::WaylandDesktop::Options{.compositor = {.outputs = {{1280, 720, 1}, {1600, 1200, 2}}}});
    }

    Program record(const std::vector<std::string>& more) const {
        return Program(recordArguments(file, more), recorderLog);
    }
    Outcome recordToEnd(const std::vector<std::string>& more) {
        std::filesystem::remove(file);
        return record(more).end();
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "movie.mp4";
    std::optional<stage::WaylandDesktop> desktop;
};

TEST_F(WaylandSessionTests, ScreensAndAreasAreRecordedAndRestoredWithoutAsking) {
    const RunningScene moving(
        {"moving", "--wayland", "--output", "HEADLESS-1", "--seconds", "300", "--number-at", "0,0"});
    const RunningScene detail(
        {"moving", "--wayland", "--output", "HEADLESS-2", "--seconds", "300", "--number-at", "400,200"});
    // The area is in points: those of the second output, right of the first, are two pixels wide.
    const struct {
        std::vector<std::string> source;
        const char* chosen;
        std::pair<int, int> size;
    } cases[] = {
        {{"--screen", "HEADLESS-1"}, "HEADLESS-1", {1280, 720}},
        {{"--area", "1480,100,300,200"}, "HEADLESS-2", {600, 400}},
    };
    for (const auto& [source, chosen, size] : cases) {
        std::vector<std::string> arguments = source;
        arguments.insert(arguments.end(), {"--duration", "2"});
        // Only the first recording may ask: later nobody answers.
        for (const bool asks : {true, false}) {
            desktop->portal().choose(asks ? std::optional<std::string>(chosen) : std::nullopt);
            const Outcome outcome = recordToEnd(arguments);
            ASSERT_EQ(outcome.status, 0) << outcome.error;
            EXPECT_EQ(outcome.file(), file);
            MovieProbe movie(file);
            EXPECT_EQ(std::pair(movie.videoTrack().width, movie.videoTrack().height), size) << outcome.error;
            expectCounting(file, 20);
        }
    }
}

TEST_F(WaylandSessionTests, AStillScreenIsRecordedAndAPauseIsCutOut) {
    Program program = record({"--screen", "HEADLESS-1"});
    program.awaitState("recording");
    pass(0.5);
    program.process().signal(SIGUSR1);
    program.awaitState("paused");
    pass(1);
    program.process().signal(SIGUSR1);
    pass(0.5);
    program.stop();
    expectPlayable(file);
    const double duration = MovieProbe(file).duration();
    EXPECT_GT(duration, 0.5);
    EXPECT_LT(duration, 1.9);
}

/// On the still picture that came with the sharing, with the compositor's pointer and keyboard.
TEST_F(WaylandSessionTests, AnAreaIsDraggedInTheApplication) {
    const RunningScene scene(
        {"moving", "--wayland", "--output", "HEADLESS-1", "--seconds", "300", "--number-at", "200,150"});
    const auto settings = desktop->session().home() / ".config" / "Lumicrate" / "lumicrate.conf";
    std::filesystem::create_directories(settings.parent_path());
    writeText(settings, "[General]\nwelcomeShown=true\ncountdown=false\nopenPreview=false\n");
    Program app({"--background"}, recorderLog);
    ASSERT_TRUE(eventually([] { return run({"status"}).status == 0; }));
    ASSERT_EQ(run({"area"}).status, 0);
    const auto& log = app.process();
    ASSERT_TRUE(eventually([&] { return log.standardError().find("portal: shares") != std::string::npos; }));

    // Programs adopt new devices late, so the first drags may not arrive.
    stage::VirtualInput& input = desktop->input();
    const auto dragAndConfirm = [&] {
        input.movePointer(200, 150);
        input.setButton(BTN_LEFT, true);
        input.movePointer(400, 300);
        input.movePointer(600, 450);
        input.setButton(BTN_LEFT, false);
        input.pressKeys({KEY_ENTER});
        return log.standardError().find("state recording") != std::string::npos;
    };
    ASSERT_TRUE(eventually(dragAndConfirm)) << log.standardError();
    ASSERT_TRUE(eventually([] { return run({"status"}).output.find("recording 00:02") == 0; }));
    ASSERT_EQ(run({"toggle"}).status, 0);
    app.awaitState("stopping");
    ASSERT_TRUE(eventually([&] { return log.standardError().find("saved,") != std::string::npos; }));
    std::vector<std::filesystem::path> movies;
    for (const auto& entry :
         std::filesystem::directory_iterator(desktop->session().home() / "Videos" / "Lumicrate"))
        movies.push_back(entry.path());
    ASSERT_EQ(movies.size(), 1U);
    const stage::Track track = MovieProbe(movies[0]).videoTrack();
    EXPECT_EQ(std::pair(track.width, track.height), std::pair(400, 300));
    expectCounting(movies[0], 20);
}

TEST_F(WaylandSessionTests, ADeclinedChoiceRecordsNothing) {
    desktop->portal().choose(std::nullopt);
    expectFailure(recordToEnd({"--screen"}), 1, "Nothing was chosen.");
    expectFailure(recordToEnd({"--window", "7"}), 1, "windows have no numbers");
    EXPECT_THAT(contentsOf(folder.path()), testing::IsEmpty());
}

/// Each leaves a playable movie and a sentence.
TEST_F(WaylandSessionTests, TheEndOfAnythingBelowSavesTheMovie) {
    const struct {
        const char* name;
        std::function<void(stage::WaylandDesktop&)> kill;
    } cases[] = {
        {"portal", [](auto& each) { each.portal().kill(); }},
        {"sound server", [](auto& each) { each.sound().kill(); }},
        {"compositor", [](auto& each) { each.compositor().kill(); }},
    };
    for (const auto& [name, kill] : cases) {
        SCOPED_TRACE(name);
        desktop.reset();
        SetUp();
        std::optional<RunningScene> scene(
            std::in_place,
            std::vector<std::string>{"moving", "--wayland", "--seconds", "300", "--number-at", "0,0"});
        std::filesystem::remove(file);
        Program program = record({"--screen", "HEADLESS-1"});
        program.awaitState("recording");
        awaitGrowth(file);
        kill(*desktop);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.sentences(), ElementsAre(HasSubstr("Recording stopped: ")));
        expectCounting(file, 3);
    }
}

/// A portal that hands out a virtual screen, and no compositor.
class PortalDoubleTests : public testing::Test {
 protected:
    void SetUp() override { picture = pictures::BgraPicture(size.width, size.height); }
    ~PortalDoubleTests() override {
        ends = true;
        if (painter.joinable()) painter.join();
    }

    /// Shows a picture with numbers, thirty times a second, on both screens.
    void paint(const stage::VirtualScreen::Facts& facts = {}) {
        painter = std::thread([this, facts] {
            stage::Image bar(stage::FrameNumber::barWidth, stage::FrameNumber::blockSize);
            const PixelRect place = facts.crop.value_or(PixelRect{0, 0, size.width, size.height});
            for (; !ends; ++painted) {
                stage::FrameNumber::draw(bar, painted);
                for (int y = 0; y < bar.height(); ++y)
                    std::copy_n(bar.row(y), bar.width(), picture.row(place.y + y) + place.x);
                if (!isStill) screen.offer(picture, facts);
                later.offer(picture, facts);
                pass(1.0 / 30);
            }
        });
    }
    Program record(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--backend", "portal"});
        return Program(recordArguments(file, arguments), recorderLog);
    }
    Outcome recordToEnd(std::vector<std::string> arguments) const {
        std::filesystem::remove(file);
        arguments.insert(arguments.end(), {"--duration", "1"});
        return record(arguments).end();
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "movie.mp4";
    stage::SoundServer sound;
    const PixelSize size{640, 480};
    stage::VirtualScreen screen{{.size = size}};
    stage::VirtualScreen later{{.name = "later", .size = size}};  ///< for another cast
    stage::PortalDouble portal{{"node=" + std::to_string(screen.node()), "size=640x480"}};
    pictures::BgraPicture picture;
    std::atomic<int> painted = 0;       ///< the number that is shown
    std::atomic<bool> isStill = false;  ///< nothing is shown on the first screen
    std::atomic<bool> ends = false;
    std::thread painter;
};

TEST_F(PortalDoubleTests, AWindowIsTheCropOfItsStream) {
    portal.set("source", "2");
    paint({.crop = PixelRect{100, 80, 400, 300}});
    ASSERT_EQ(recordToEnd({"--window"}).status, 0);
    const stage::Track track = MovieProbe(file).videoTrack();
    EXPECT_EQ(std::pair(track.width, track.height), std::pair(400, 300));
    expectCounting(file, 10);
}

TEST_F(PortalDoubleTests, TokensAreUsedOnceAndAWrongOneAsksAgain) {
    paint();
    const auto usedTokens = [&] { return portal.tell("Calls"); };
    usedTokens();
    ASSERT_EQ(recordToEnd({"--screen"}).status, 0);
    EXPECT_THAT(usedTokens(), testing::Not(HasSubstr("token-")));
    portal.set("valid", "token-2");
    portal.set("token", "token-3");
    ASSERT_EQ(recordToEnd({"--screen"}).status, 0);
    EXPECT_THAT(usedTokens(), HasSubstr("token-2"));
    // The stored one is refused by now, so the dialog follows.
    portal.set("valid", "other");
    ASSERT_EQ(recordToEnd({"--screen"}).status, 0);
    EXPECT_THAT(usedTokens(), HasSubstr("token-3"));
}

TEST_F(PortalDoubleTests, ATokenOnTheCommandLineIsUsedAndTheNextOnePrinted) {
    paint();
    const Outcome outcome = recordToEnd({"--screen", "--portal-token", "token-1"});
    EXPECT_THAT(portal.tell("Calls"), HasSubstr("token-1"));
    EXPECT_THAT(outcome.sentences(), ElementsAre("lumicrate: The next portal token is token-2"));
}

/// When it stays paused, or sends nothing after the computer slept. Without a token it is kept, and may go
/// on.
TEST_F(PortalDoubleTests, ACastThatStopsIsReplacedByItsToken) {
    paint();
    for (const bool sleeps : {false, true}) {
        SCOPED_TRACE(sleeps);
        std::filesystem::remove(file);
        portal.tell("Reset");
        portal.set("valid", "token-2");
        portal.set("token", sleeps ? "" : "token-2");
        Program program = record({"--screen"});
        program.awaitState("recording");
        awaitGrowth(file);
        portal.set("node", std::to_string(later.node()));
        if (sleeps) {
            isStill = true;
            portal.tell("WakeUp");
        } else {
            screen.setActive(false);
        }
        for (const char* step : {"requested again", sleeps ? "no token for another one" : "continues with"})
            EXPECT_TRUE(eventually([&] {
                return program.process().standardError().find(step) != std::string::npos;
            })) << step;
        screen.setActive(true);
        isStill = false;
        const int resumed = painted;
        EXPECT_TRUE(eventually([&] { return painted > resumed + 30; }));
        EXPECT_EQ(program.stop().sentences(), std::vector<std::string>());
        expectCounting(file, 20);
        EXPECT_GT(numbersIn(file).back(), resumed);
    }
}

/// The movie is saved; what the user does is no failure.
TEST_F(PortalDoubleTests, TheEndOfTheSharingIsAnErrorUnlessTheUserStopsIt) {
    paint();
    const struct {
        const char* command;
        int status;
        std::vector<std::string> sentences;
    } cases[] = {
        {"CloseSessions", 0, {}},
        {"Vanish", 1, {"lumicrate: Recording stopped: The desktop portal has stopped working."}},
    };
    for (const auto& [command, status, sentences] : cases) {
        SCOPED_TRACE(command);
        std::filesystem::remove(file);
        Program program = record({"--screen"});
        program.awaitState("recording");
        awaitGrowth(file);
        portal.tell(command);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.sentences(), sentences);
        expectCounting(file, 3);
    }
}

TEST_F(PortalDoubleTests, RefusalsAreSentences) {
    const struct {
        const char* key;
        const char* value;
        const char* sentence;
    } cases[] = {
        {"Start", "cancelled", "Nothing was chosen."},
        {"Start", "failed", "screen"},
        {"CreateSession", "error", "screen"},
        {"OpenPipeWireRemote", "error", "screen"},
        {"node", "999999", "The screen can't be captured."},
        {"sources", "0", "This desktop has no portal that shares the screen."},
    };
    paint();
    for (const auto& [key, value, sentence] : cases) {
        SCOPED_TRACE(std::string(key) + " " + value);
        portal.tell("Reset");
        portal.set(key, value);
        expectFailure(recordToEnd({"--screen"}), 1, sentence);
        EXPECT_FALSE(std::filesystem::exists(file));
    }
}

}  // namespace
}  // namespace lumicrate::test
