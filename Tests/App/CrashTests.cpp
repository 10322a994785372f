// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings whose program is killed: the file that is left can be played, reaches to at most a second before
// the end, and becomes an ordinary movie with the next start.
#include "Tests/App/ProgramTest.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/OtherPrograms.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace lumicrate::test {
namespace {

using stage::Ending;
using stage::MovieBoxes;
using stage::MovieTrack;
using testing::IsEmpty;

/// Seconds that may be lost of a recording.
constexpr double maxLoss = 1;

/// Seconds of the clock that recordings and scenes use.
double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

struct Kind {
    const char* name;
    std::vector<std::string> arguments;
    const char* file;
    bool hasPictures;
};

const Kind mp4{"mp4", {"--screen", "--format=mp4H264"}, "movie.mp4", true};
const Kind mov{"mov", {"--screen", "--format=movHEVC"}, "movie.mov", true};
const Kind m4a{"m4a", {"--audio"}, "sound.m4a", false};

class CrashTests : public ProgramTest {
 protected:
    CrashTests() : ProgramTest({.display = {960, 540, true, false}}) {}

    /// Starts the program, and waits until `condition` holds for the file.
    void startUntil(const Kind& kind, const std::function<bool()>& condition) {
        file = folder / kind.file;
        // Unmixed: MovieBoxes judges the recorder's own files, and mixing rewrites them with other libraries.
        std::vector<std::string> arguments{"record",         "--no-countdown",   "--system-audio",
                                           "--microphone",   "--quality=native", "--fps=30",
                                           "--no-mix-audio", "--output",         file};
        arguments.insert(arguments.begin() + 1, kind.arguments.begin(), kind.arguments.end());
        program.emplace(arguments, environment);
        const auto isOver = [this] { return !program->process().isRunning(); };
        using namespace std::chrono_literals;
        if (!eventually([&] { return condition() || isOver(); }, 30s, 2ms) || isOver())
            throw std::runtime_error("The recording does not start: " + program->end().error);
    }
    /// Starts a recording and, once every track has media in the file, a scene that shows the time in
    /// pictures and sound: ten numbers per second, and a beep with the tenth. Returns when its first beep is
    /// in the file.
    void start(const Kind& kind) {
        startUntil(kind, [&] { return hasMedia(kind); });
        scene.emplace(std::vector<std::string>{"flash", "--number-at", "0,0"});
        std::sscanf(scene->process().readLine().c_str(), "flash %lf", &firstBeep);
        constexpr double onset = 0.1;
        pass(std::max(firstBeep + onset + maxLoss - now(), 0.0));
    }
    /// Stops the scene's clock; its picture stays.
    void stopClock() {
        scene->process().signal(SIGUSR1);
        lastNumber = scene->awaitDrawn(30) - 1;
    }
    void kill() {
        program->process().signal(SIGKILL);
        program->process().mustEnd(30);
    }
    Outcome nextStart() const { return run({"sources"}, environment); }
    std::filesystem::path unfinished() const { return folder / "state" / "lumicrate" / "unfinished"; }

    /// Expects everything that is promised of a recording that was killed and had something to record until
    /// `end`.
    void expectRescued(const Kind& kind, double end) const;

    stage::Environment environment{{"XDG_STATE_HOME", (folder / "state").string()}};
    std::optional<Program> program;
    std::optional<RunningScene> scene;
    double firstBeep = 0;
    int lastNumber = 0;

 private:
    bool hasMedia(const Kind& kind) const {
        if (!std::filesystem::exists(file)) return false;
        const MovieBoxes movie = stage::readMovieBoxes(file, Ending::CutOff);
        return movie.tracks.size() == (kind.hasPictures ? 4U : 2U) &&
               std::ranges::none_of(movie.tracks,
                                    [](const MovieTrack& track) { return track.samples.empty(); });
    }
    void expectLastNumber() const;
};

void CrashTests::expectLastNumber() const {
    int seen = -1;
    MovieProbe(file).visitPictures([&](const Picture& picture) {
        seen = stage::FrameNumber::read(picture.luma()).value_or(seen);
        return true;
    });
    constexpr int numbersPerSecond = 10;
    EXPECT_GE(seen, lastNumber - static_cast<int>(maxLoss * numbersPerSecond));
    // The scene may have started another step before it was stopped.
    EXPECT_LE(seen, lastNumber + 1);
}

void CrashTests::expectRescued(const Kind& kind, double end) const {
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
    EXPECT_EQ(nextStart().error, "") << "reported twice";

    const stage::Sound sound = MovieProbe(file).sound();
    const auto beep = stage::onset(sound.samples.at(0), 0.05F);
    ASSERT_TRUE(beep) << "the recording is silent";
    const double beginning = firstBeep - sound.timeAt(*beep);
    double maxLost = 0;
    for (const MovieBoxes* movie : {&before, &after}) {
        for (const MovieTrack& track : movie->tracks) {
            // The last position holds until the end, which fragments do not say.
            if (track.isMetadata()) continue;
            const double lost = end - beginning - track.presentedDuration;
            EXPECT_LE(lost, maxLoss) << track.name << " was lost";
            EXPECT_GE(lost, -0.1) << track.name << " continues after the end";
            maxLost = std::max(maxLost, lost);
        }
    }
    if (kind.hasPictures) expectLastNumber();
    std::printf("%s: %.0f ms lost of %.1f s\n", kind.name, maxLost * 1000, end - beginning);
}

/// Other moments with each run; LUMICRATE_SEED repeats those of a former run.
std::mt19937 makeRandom() {
    const char* given = std::getenv("LUMICRATE_SEED");
    const auto seed =
        given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::printf("LUMICRATE_SEED=%u\n", seed);
    return std::mt19937(seed);
}

class KilledAnywhere : public CrashTests, public testing::WithParamInterface<Kind> {};

TEST_P(KilledAnywhere, LosesAtMostASecond) {
    const Kind& kind = GetParam();
    std::mt19937 random = makeRandom();
    std::uniform_real_distribution<double> moments(0, isThorough() ? 4 : 0.8);
    for (int i = 0; i < (isThorough() ? 30 : 2); ++i) {
        const double moment = moments(random);
        SCOPED_TRACE("killed after " + std::to_string(moment) + " s");
        start(kind);
        pass(moment);
        const double end = now();
        kill();
        stopClock();
        expectRescued(kind, end);
        if (i == 0 || isThorough()) {
            EXPECT_THAT(stage::complaintsAbout(file), IsEmpty());
        }
        scene.reset();
        std::filesystem::remove(file);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, KilledAnywhere, testing::Values(mp4, mov, m4a),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_F(CrashTests, KeepsWhatWasRecordedBeforeAPause) {
    start(mp4);
    const double end = now();
    program->process().signal(SIGUSR1);
    stopClock();
    pass(0.7);
    kill();
    expectRescued(mp4, end);
}

TEST_F(CrashTests, KeepsAStillScreenUpToTheEnd) {
    start(mp4);
    stopClock();
    pass(2);
    const double end = now();
    kill();
    expectRescued(mp4, end);
}

TEST_F(CrashTests, LeavesARunningRecordingAlone) {
    start(mp4);
    EXPECT_EQ(nextStart().error, "");
    program->stop();
    EXPECT_THAT(stage::faultsOf(file), IsEmpty());
    EXPECT_EQ(nextStart().error, "");
}

TEST_F(CrashTests, RemovesTheFileOfARecordingThatHadNotStarted) {
    // On a busy machine the program may be killed too late.
    for (int attempt = 0; attempt < 10; ++attempt) {
        startUntil(mp4, [this] { return std::filesystem::exists(file); });
        kill();
        const MovieBoxes left = stage::readMovieBoxes(file, Ending::CutOff);
        const bool isEmpty =
            std::ranges::all_of(left.tracks, [](const MovieTrack& track) { return track.samples.empty(); });
        const Outcome next = nextStart();
        EXPECT_TRUE(std::filesystem::is_empty(unfinished()));
        if (isEmpty) {
            EXPECT_EQ(next.error, "");
            EXPECT_FALSE(std::filesystem::exists(file));
            return;
        }
        std::filesystem::remove(file);
    }
    FAIL() << "every recording had already started";
}

}  // namespace
}  // namespace lumicrate::test
