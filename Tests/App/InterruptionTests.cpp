// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings that are cut short or disturbed: by signals, by the display or the sound server going away, and
// by the disk.
#include "Tests/App/ProgramTest.h"
#include "Tests/Stage/Measure.h"

#include <unistd.h>

#include <fstream>
#include <span>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr double frameTime = 1.0 / 30;
constexpr std::uintmax_t MiB = 1024 * 1024;
/// Seconds until a recording has reached a limit, on a busy machine.
constexpr double timeout = 150;
constexpr int soundRate = 48000;

/// Expects that the recording ended by itself, for one reason, with a movie that plays.
void expectKept(const Outcome& outcome, const std::filesystem::path& file, const std::string& reason = "") {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.sentences(), ElementsAre(StartsWith("lumicrate: Recording stopped: " + reason)));
    EXPECT_EQ(outcome.file().filename(), file.filename());
    expectPlayable(file);
}

class InterruptionTests : public ProgramTest {
 protected:
    InterruptionTests() : ProgramTest({.display = {1280, 720, true, false}}) {}

    const RunningScene scene{{"moving"}};
};

TEST_F(InterruptionTests, SignalsStopAndSave) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(signal);
        Program program = record({"--screen"});
        awaitGrowth(file);
        const Outcome outcome = program.stop(signal);
        EXPECT_THAT(outcome.sentences(), IsEmpty());
        EXPECT_EQ(outcome.output, file.string() + "\n");
        expectPlayable(file);
        std::filesystem::remove(file);
    }
}

TEST_F(InterruptionTests, RepeatedSignalsWhileSavingLoseNothing) {
    Program program = record({"--screen", "--system-audio"});
    awaitGrowth(file);
    do {
        program.process().signal(SIGINT);
        program.process().signal(SIGTERM);
    } while (!program.process().wait(0.002));
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.file(), file);
    expectPlayable(file);
}

TEST_F(InterruptionTests, TheEndOfTheDisplayKeepsTheRecording) {
    stage::Xvfb server;
    const stage::ScopedEnvironment there({{"DISPLAY", server.displayName()}});
    const RunningScene its({"moving"});
    Program program = record({"--screen"});
    // The first pictures may be written a moment before the start is over, which could still fail.
    awaitGrowth(file);
    awaitGrowth(file);
    server.kill();
    expectKept(program.end(timeout), file);
}

/// Waits until the program is linked to output and microphone.
void awaitSound() {
    const auto isLinked = [] {
        // Lists linked inputs only.
        const std::string linked = stage::runProgram({"pw-link", "-l", "-i"});
        return linked.find("lumicrate-system-sound:") != std::string::npos &&
               linked.find("lumicrate-microphone:") != std::string::npos;
    };
    ASSERT_TRUE(eventually(isLinked)) << "the program receives no sound";
    pass(0.3);
}

TEST_F(InterruptionTests, SoundDevicesAndServerMayGoAndComeBack) {
    constexpr double reportedGap = 1.2;
    stage::SoundServer& server = desktop().sound();
    Program program = record({"--screen", "--system-audio", "--microphone=mic"});
    awaitGrowth(file);

    // All outputs go, and with them the microphone, which is made from one.
    server.pactl({"unload-module", "module-always-sink"});
    server.unloadModule(server.microphone().source);
    server.unloadModule(server.microphone().feed);
    server.unloadModule(server.speaker());
    pass(reportedGap);
    server.addSpeaker("spk", "Speaker");
    const auto microphone = server.addMicrophone("mic", "Microphone");
    awaitSound();
    // The microphone goes while there is another.
    server.addMicrophone("other", "Other microphone");
    server.unloadModule(microphone.source);
    pass(reportedGap);
    server.loadModule("module-remap-source", {"master=micfeed.monitor", "source_name=mic"});
    awaitSound();
    server.kill();
    pass(reportedGap);
    server.revive();
    awaitSound();

    const RunningScene flashes({"flash"});
    pass(1.5);
    const Outcome outcome = program.stop();
    const auto gap = [](const std::string& reason, const std::string& consequence) {
        return MatchesRegex(".*" + reason + " for 00:0[1-9]; the " + consequence);
    };
    const std::string silentSystem = "system sound is silent there.";
    const std::string silentMicrophone = "microphone's sound is silent there.";
    EXPECT_THAT(outcome.sentences(),
                UnorderedElementsAre(
                    gap("The sound output was missing", silentSystem),
                    gap("The microphone “Microphone” was missing", silentMicrophone),
                    gap("The microphone “Microphone” was missing", "default one was recorded instead."),
                    gap("The sound server was gone", silentSystem),
                    gap("The sound server was gone", silentMicrophone)));
    expectPlayable(file);
    MovieProbe movie(file);
    for (const std::size_t track : {0U, 1U}) {
        const stage::Sound sound = movie.sound(track);
        EXPECT_EQ(sound.discontinuities, 0);
        EXPECT_NEAR(sound.duration(), movie.videoTrack().duration, 0.05);
    }
    const stage::Sound sound = movie.sound(0);
    EXPECT_GT(stage::loudness(std::span(sound.samples[0]).last(soundRate * 3 / 2)), 0.01);
}

TEST_F(InterruptionTests, TheEndOfTheSoundServerIsSilence) {
    stage::SoundServer& server = desktop().sound();
    const RunningScene flashes({"flash"});
    Program program = record({"--screen", "--system-audio", "--microphone"});
    awaitGrowth(file);
    pass(2.5);
    server.kill();
    pass(2.5);
    program.stop();
    server.revive();
    expectPlayable(file);

    MovieProbe movie(file);
    EXPECT_GT(movie.duration(), 5);
    for (const std::size_t track : {0U, 1U})
        EXPECT_NEAR(movie.sound(track).duration(), movie.videoTrack().duration, frameTime);
    const stage::Sound sound = movie.sound(0);
    EXPECT_EQ(sound.discontinuities, 0);
    const std::span<const float> samples(sound.samples[0]);
    EXPECT_GT(stage::loudness(samples.first(2 * soundRate)), 0.01);
    EXPECT_LT(stage::loudness(samples.last(2 * soundRate)), 0.0001);
}

/// A program that records onto a small volume of its own, which vanishes with it. The movie is then in
/// `kept`.
class SmallVolumeTests : public InterruptionTests {
 protected:
    void SetUp() override {
        for (const char* mounts : {"-m", "-Urm"}) {
            const auto attempt = stage::runToEnd({"unshare", mounts, "mount", "-t", "tmpfs", "none", "/mnt"});
            if (attempt.status == 0) launcher = {"unshare", mounts};
        }
        if (launcher.empty()) GTEST_SKIP() << "no volume can be mounted here";
    }

    void start(int megabytes, const std::vector<std::string>& more) {
        const std::filesystem::path volume = folder / "volume";
        std::filesystem::create_directory(volume);
        launcher.insert(launcher.end(), {"sh", "-c",
                                         "mount -t tmpfs -o size=$1m none \"$2\" || exit 99\n"
                                         "movie=$2/movie.mp4 kept=$3; shift 3\n"
                                         "\"$@\"; status=$?\n"
                                         "[ ! -e \"$movie\" ] || cp \"$movie\" \"$kept\"\n"
                                         "exit $status",
                                         "sh", std::to_string(megabytes), volume, kept});
        file = volume / "movie.mp4";
        program.emplace(recordArguments(file, more), stage::Environment{}, launcher);
    }
    /// Starts a recording with a high bit rate. Once it runs, another program writes that many bytes to the
    /// volume, or until it is full.
    void startAndFill(std::uintmax_t bytes, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{"--screen", "--encoding-quality=maximum", "--fps=60"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        start(24, arguments);
        const std::filesystem::path root =
            "/proc/" + std::to_string(program->process().processId()) + "/root";
        awaitGrowth(root.string() + file.string());
        std::ofstream other(root.string() + (folder / "volume/other").string(), std::ios::binary);
        const std::vector<char> chunk(64 * 1024, 'x');
        for (std::uintmax_t written = 0; written < bytes && other; written += chunk.size())
            other.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        ASSERT_EQ(bytes < 64 * MiB, other.good());
    }

    const std::filesystem::path kept = folder / "movie.mp4";
    std::vector<std::string> launcher;
    std::optional<Program> program;
};

TEST_F(SmallVolumeTests, TooLittleSpaceIsReportedBeforeTheRecording) {
    start(12, {"--screen"});
    expectFailure(program->end(), 1, "There is too little free space on the disk to record: 12 MB.\n");
    EXPECT_FALSE(std::filesystem::exists(kept));
}

TEST_F(SmallVolumeTests, WithoutSpaceToMixTheTracksStaySeparate) {
    startAndFill(12 * MiB, {"--system-audio", "--microphone", "--mix-audio"});
    const Outcome outcome = program->end(timeout);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(
        outcome.sentences(),
        ElementsAre("lumicrate: There is no room on the disk to mix the audio tracks; they stay apart.",
                    "lumicrate: Recording stopped: The disk is almost full."));
    EXPECT_EQ(outcome.file().filename(), "movie.mp4");
    expectPlayable(kept);
    EXPECT_EQ(MovieProbe(kept).tracks().size(), 3U);
}

TEST_F(SmallVolumeTests, AVolumeFilledByAnotherProgramKeepsTheRecording) {
    startAndFill(64 * MiB);
    expectKept(program->end(timeout), kept);
}

TEST_F(InterruptionTests, AFileSizeLimitKeepsTheRecording) {
    Program program = record({"--screen", "--encoding-quality=maximum", "--fps=60"}, {},
                             {"sh", "-c", "ulimit -f 12288; exec \"$@\"", "sh"});
    expectKept(program.end(timeout), file);
}

#ifdef __SANITIZE_ADDRESS__
constexpr long maxMegabytes = 1000;  // mostly the sanitizer's own
#else
constexpr long maxMegabytes = 200;
#endif

TEST_F(InterruptionTests, ASlowDiskCostsWholePicturesAndNothingElse) {
    constexpr int seconds = 14;
    // For 12 seconds it writes about a tenth of what is recorded.
    Program program = record(
        {"--screen", "--system-audio", "--encoding-quality=maximum", "--duration", std::to_string(seconds)},
        {{"LD_PRELOAD", LUMICRATE_SLOW_DISK_LIBRARY},
         {"LUMICRATE_SLOW_DISK", "40000 12"},
         {"ASAN_OPTIONS", "verify_asan_link_order=0"}});
    EXPECT_LT(program.process().mustEnd(timeout).maxResidentKiB / 1024, maxMegabytes);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.error, HasSubstr(" pictures are missing"));
    expectPlayable(file);

    MovieProbe movie(file);
    EXPECT_NEAR(movie.duration(), seconds, 0.1);
    const stage::Sound sound = movie.sound();
    EXPECT_EQ(sound.discontinuities, 0);
    EXPECT_NEAR(sound.duration(), movie.duration(), 0.05);
    // The first seconds are buffered in memory.
    double last = 0;
    for (const double time : movie.pictureTimes()) {
        EXPECT_TRUE(last >= 4 || time - last < 1) << "from " << last << " to " << time;
        last = time;
    }
}

TEST_F(InterruptionTests, AFolderThatBecomesReadOnlyKeepsTheRecording) {
    // The superuser may write everywhere, unless these capabilities are dropped.
    const std::vector<std::string> unprivileged{"setpriv", "--bounding-set=-dac_override,-dac_read_search"};
    Program program = record({"--screen"}, {}, geteuid() == 0 ? unprivileged : std::vector<std::string>());
    awaitGrowth(file);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    const Outcome outcome = program.stop(SIGTERM);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    EXPECT_EQ(outcome.file(), file);
    expectPlayable(file);
}

TEST_F(InterruptionTests, ARemovedFolderEndsTheRecording) {
    const std::filesystem::path removed = folder / "removed";
    std::filesystem::create_directory(removed);
    file = removed / "movie.mp4";
    Program program = record({"--screen"});
    awaitGrowth(file);
    std::filesystem::remove_all(removed);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.sentences(), SizeIs(1));
    // A path is only printed when the file exists.
    if (!outcome.output.empty()) expectPlayable(outcome.file());
}

}  // namespace
}  // namespace lumicrate::test
