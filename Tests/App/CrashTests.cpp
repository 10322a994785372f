// Recordings whose program is killed: what is left can be played, reaches to at most a second before the end,
// and becomes an ordinary movie with the next start.

#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/OtherPrograms.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::Ending;
using stage::MovieBoxes;
using stage::MovieProbe;
using stage::MovieTrack;
using testing::IsEmpty;

/// What may be lost of a recording.
constexpr double mayBeLost = 1;

bool isThorough() {
    return std::getenv("LUMICRATE_THOROUGH") != nullptr;
}

/// Seconds of the clock by which recordings and scenes go.
double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void pass(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void awaitThat(const std::function<bool()>& condition, const std::string& what) {
    constexpr double patience = 30;
    for (const double deadline = now() + patience; !condition(); pass(0.002)) {
        if (now() > deadline) throw std::runtime_error("In vain awaited: " + what);
    }
}

/// A scene that tells the time in pictures and in sound: ten numbers a second, and each second, beginning
/// with the tenth number, a beep.
class ClockScene {
 public:
    ClockScene() : process_({LUMICRATE_SCENE, "flash", "--number"}, options()) {
        if (process_.readLine(30) != "ready") throw std::runtime_error("The scene does not come up");
    }

    /// When the first beep sounded.
    double awaitFirstBeep() {
        double planned = 0;
        const auto line = process_.readLine(30);
        if (!line || std::sscanf(line->c_str(), "flash %lf", &planned) != 1)
            throw std::runtime_error("The scene does not play");
        return planned;
    }
    /// Stops the clock; the picture stays. Gives the number of the last picture.
    int rest() {
        process_.signal(SIGUSR1);
        int drawn = 0;
        while (const auto line = process_.readLine(30)) {
            if (std::sscanf(line->c_str(), "drawn %d", &drawn) == 1) return drawn - 1;
        }
        throw std::runtime_error("The scene does not rest");
    }

 private:
    static stage::ChildProcess::Options options() {
        stage::ChildProcess::Options options;
        options.output = stage::ChildProcess::Output::Capture;
        return options;
    }

    stage::ChildProcess process_;
};

/// A kind of recording.
struct Kind {
    const char* name;
    std::vector<std::string> arguments;
    const char* file;
    bool hasPictures;
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

const Kind mp4{"mp4", {"--screen", "--format=mp4H264"}, "movie.mp4", true};
const Kind mov{"mov", {"--screen", "--format=movHEVC"}, "movie.mov", true};
const Kind m4a{"m4a", {"--audio"}, "sound.m4a", false};

/// What happened to a recording, by the clock of it and the scene.
struct Story {
    double firstBeep = 0;
    /// The end of what was to be recorded.
    double end = 0;
    /// The number that was to be seen then.
    int lastNumber = 0;
};

class CrashTests : public testing::Test {
 protected:
    static void SetUpTestSuite() {
        stage::PrivateDesktop::Options options;
        options.display = {960, 540, true, false};
        desktop = std::make_unique<stage::PrivateDesktop>(options);
    }
    static void TearDownTestSuite() { desktop.reset(); }

    std::unique_ptr<Program> startRecording(const Kind& kind) const {
        // Unmixed, since MovieBoxes judges the recorder's own files, not those that mixing makes.
        std::vector<std::string> arguments{"record",         "--no-countdown",   "--system-audio",
                                           "--microphone",   "--quality=native", "--fps=30",
                                           "--no-mix-audio", "--output",         (folder / kind.file)};
        arguments.insert(arguments.begin() + 1, kind.arguments.begin(), kind.arguments.end());
        return std::make_unique<Program>(arguments, environment);
    }
    /// Waits until every track has media in the file.
    void awaitMedia(const Kind& kind, Program& program) const {
        const auto file = folder / kind.file;
        const auto isOver = [&] { return !program.process().isRunning(); };
        awaitThat([&] { return hasMedia(kind, file) || isOver(); }, "media in the file");
        if (isOver()) throw std::runtime_error("Nothing is recorded: " + program.end().error);
    }
    /// Waits until the scene's first beep has sounded, and has been written.
    static double awaitFirstBeep(ClockScene& scene) {
        constexpr double onsetAndFragment = 0.1 + mayBeLost;
        const double planned = scene.awaitFirstBeep();
        pass(std::max(planned + onsetAndFragment - now(), 0.0));
        return planned;
    }
    static double kill(Program& program) {
        const double instant = now();
        program.process().signal(SIGKILL);
        program.process().mustEnd(30);
        return instant;
    }
    Outcome nextStart() const { return run({"sources"}, environment); }
    std::filesystem::path unfinished() const { return folder / "state" / "lumicrate" / "unfinished"; }

    /// All that is promised of a recording that was cut off.
    void expectRescued(const Kind& kind, const Story& story) const;

    static std::unique_ptr<stage::PrivateDesktop> desktop;
    TemporaryFolder folder;
    stage::Environment environment{{"XDG_STATE_HOME", (folder / "state").string()}};

 private:
    static bool hasMedia(const Kind& kind, const std::filesystem::path& file);
    void expectReach(const MovieBoxes& movie, double beginning, double end) const;
    void expectNumber(const std::filesystem::path& file, int lastNumber) const;
};

std::unique_ptr<stage::PrivateDesktop> CrashTests::desktop;

bool CrashTests::hasMedia(const Kind& kind, const std::filesystem::path& file) {
    if (!std::filesystem::exists(file)) return false;
    const MovieBoxes movie = stage::readMovieBoxes(file, Ending::CutOff);
    return movie.tracks.size() == (kind.hasPictures ? 3U : 2U) &&
           std::all_of(movie.tracks.begin(), movie.tracks.end(),
                       [](const MovieTrack& track) { return !track.samples.empty(); });
}

void CrashTests::expectReach(const MovieBoxes& movie, double beginning, double end) const {
    for (const MovieTrack& track : movie.tracks) {
        const double reached = beginning + track.presentedDuration;
        EXPECT_GE(reached, end - mayBeLost) << track.name << " was lost";
        EXPECT_LE(reached, end + 0.1) << track.name << " goes on after the end";
    }
}

void CrashTests::expectNumber(const std::filesystem::path& file, int lastNumber) const {
    int seen = -1;
    MovieProbe(file).visitPictures([&](const stage::Picture& picture) {
        seen = stage::FrameNumber::read(picture.luma()).value_or(seen);
        return true;
    });
    constexpr int numbersASecond = 10;
    EXPECT_GE(seen, lastNumber - static_cast<int>(mayBeLost * numbersASecond));
    // The scene may have begun another step before it was told to rest.
    EXPECT_LE(seen, lastNumber + 1);
}

void CrashTests::expectRescued(const Kind& kind, const Story& story) const {
    const std::filesystem::path file = folder / kind.file;
    const MovieBoxes before = stage::readMovieBoxes(file, Ending::CutOff);
    EXPECT_THAT(before.faults, IsEmpty());
    EXPECT_TRUE(before.isFragmented);
    EXPECT_THAT(stage::refusalsOf(file), IsEmpty());

    const Outcome next = nextStart();
    EXPECT_EQ(next.status, 0);
    EXPECT_EQ(next.error, "lumicrate: Finished the interrupted recording “" + file.string() + "”.\n");
    const MovieBoxes after = stage::readMovieBoxes(file);
    EXPECT_THAT(after.faults, IsEmpty());
    EXPECT_TRUE(after.indexInFront());
    EXPECT_THAT(stage::differencesOf(before, after), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(unfinished()));
    EXPECT_EQ(nextStart().error, "") << "told twice";

    const stage::Sound sound = MovieProbe(file).sound();
    const auto beep = stage::onset(sound.samples.at(0), 0.05F);
    ASSERT_TRUE(beep) << "the recording is silent";
    const double beginning = story.firstBeep - sound.timeAt(*beep);
    expectReach(before, beginning, story.end);
    expectReach(after, beginning, story.end);
    if (kind.hasPictures) expectNumber(file, story.lastNumber);
    const auto shortest = std::min_element(after.tracks.begin(), after.tracks.end(),
                                           [](const MovieTrack& one, const MovieTrack& other) {
                                               return one.presentedDuration < other.presentedDuration;
                                           });
    const double told = story.end - beginning;
    std::printf("%s: %.0f ms lost of %.1f s\n", kind.name, (told - shortest->presentedDuration) * 1000, told);
}

/// Other instants with each run; LUMICRATE_SEED has those of one run come again.
std::mt19937 makeRandom() {
    const char* wanted = std::getenv("LUMICRATE_SEED");
    const auto seed =
        wanted != nullptr ? static_cast<unsigned>(std::strtoul(wanted, nullptr, 10)) : std::random_device()();
    std::printf("LUMICRATE_SEED=%u\n", seed);
    return std::mt19937(seed);
}

class KilledAnywhere : public CrashTests, public testing::WithParamInterface<Kind> {};

TEST_P(KilledAnywhere, AlmostAllIsKept) {
    const Kind& kind = GetParam();
    std::mt19937 random = makeRandom();
    std::uniform_real_distribution<double> instants(0, isThorough() ? 4 : 0.8);
    for (int i = 0; i < (isThorough() ? 30 : 2); ++i) {
        const double instant = instants(random);
        SCOPED_TRACE("killed after " + std::to_string(instant) + " s");
        const auto program = startRecording(kind);
        awaitMedia(kind, *program);
        ClockScene scene;
        Story story;
        story.firstBeep = awaitFirstBeep(scene);
        pass(instant);
        story.end = kill(*program);
        story.lastNumber = scene.rest();
        expectRescued(kind, story);
        if (i == 0 || isThorough()) {
            EXPECT_THAT(stage::complaintsAbout(folder / kind.file), IsEmpty());
        }
        std::filesystem::remove(folder / kind.file);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, KilledAnywhere, testing::Values(mp4, mov, m4a),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(CrashTests, WhatWasRecordedBeforeAPauseIsKept) {
    const auto program = startRecording(mp4);
    awaitMedia(mp4, *program);
    ClockScene scene;
    Story story;
    story.firstBeep = awaitFirstBeep(scene);
    story.end = now();
    program->process().signal(SIGUSR1);
    story.lastNumber = scene.rest();
    pass(0.7);
    kill(*program);
    expectRescued(mp4, story);
}

TEST_F(CrashTests, AStillScreenIsKeptUpToTheEnd) {
    const auto program = startRecording(mp4);
    awaitMedia(mp4, *program);
    ClockScene scene;
    Story story;
    story.firstBeep = awaitFirstBeep(scene);
    story.lastNumber = scene.rest();
    pass(2);
    story.end = kill(*program);
    expectRescued(mp4, story);
}

TEST_F(CrashTests, ARunningRecordingIsLeftAlone) {
    const auto program = startRecording(mp4);
    awaitMedia(mp4, *program);
    EXPECT_EQ(nextStart().error, "");
    program->process().signal(SIGINT);
    const Outcome outcome = program->end();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_THAT(stage::faultsOf(folder / mp4.file), IsEmpty());
    EXPECT_EQ(nextStart().error, "");
}

TEST_F(CrashTests, ARecordingThatHadNotBegunLeavesNoFile) {
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const auto program = startRecording(mp4);
        awaitThat([&] { return std::filesystem::exists(folder / mp4.file); }, "the file");
        kill(*program);
        const MovieBoxes left = stage::readMovieBoxes(folder / mp4.file, Ending::CutOff);
        const bool isEmpty = std::all_of(left.tracks.begin(), left.tracks.end(),
                                         [](const MovieTrack& track) { return track.samples.empty(); });
        const Outcome next = nextStart();
        EXPECT_TRUE(std::filesystem::is_empty(unfinished()));
        if (isEmpty) {
            EXPECT_EQ(next.error, "");
            EXPECT_FALSE(std::filesystem::exists(folder / mp4.file));
            return;
        }
        // On a busy machine it was killed too late.
        std::filesystem::remove(folder / mp4.file);
    }
    FAIL() << "every recording had begun already";
}

}  // namespace
}  // namespace lumicrate::test
