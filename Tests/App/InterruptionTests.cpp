// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings that are cut short or disturbed: by signals, by the display or the sound server going away, and
// by the disk.
#include "Tests/App/ProgramTest.h"
#include "Tests/Stage/Measure.h"

#include <fstream>
#include <span>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr double frameTime = 1.0 / 30;
constexpr std::uintmax_t MiB = 1024 * 1024;
constexpr std::uintmax_t partOfIt = 12 * MiB;
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
        awaitBegun(program);
        const Outcome outcome = program.stop(signal);
        EXPECT_THAT(outcome.sentences(), IsEmpty());
        EXPECT_EQ(outcome.output, file.string() + "\n");
        expectPlayable(file);
        std::filesystem::remove(file);
    }
}

TEST_F(InterruptionTests, RepeatedSignalsWhileSavingLoseNothing) {
    Program program = record({"--screen", "--system-audio"});
    awaitBegun(program);
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
    awaitBegun(program);
    server.kill();
    expectKept(program.end(timeout), file);
}

TEST_F(InterruptionTests, TheEndOfTheSoundServerIsSilence) {
    stage::SoundServer& server = desktop().sound();
    const RunningScene flashes({"flash"});
    Program program = record({"--screen", "--system-audio", "--microphone"});
    awaitBegun(program);
    pass(2.5);
    server.kill();
    pass(2.5);
    const auto gone = [](const std::string& kind) {
        return MatchesRegex("lumicrate: The sound server was gone for 00:0[1-9]; the " + kind +
                            " is silent there.");
    };
    EXPECT_THAT(program.stop().sentences(),
                UnorderedElementsAre(gone("system sound"), gone("microphone's sound")));
    server.revive();
    expectPlayable(file);

    MovieProbe movie(file);
    EXPECT_GT(movie.duration(), 4.5);
    for (const std::size_t track : {0U, 1U})
        EXPECT_NEAR(movie.sound(track).duration(), movie.videoTrack().duration, frameTime);
    const stage::Sound sound = movie.sound(0);
    EXPECT_EQ(sound.discontinuities, 0);
    const std::span<const float> samples(sound.samples[0]);
    EXPECT_GT(stage::loudness(samples.first(2 * soundRate)), 0.01);
    EXPECT_LT(stage::loudness(samples.last(2 * soundRate)), 0.0001);
}

/// Records onto a small volume of its own, onto which another program writes that many bytes.
class SmallVolumeTests : public InterruptionTests, public testing::WithParamInterface<std::uintmax_t> {};

TEST_P(SmallVolumeTests, AVolumeFilledByAnotherProgramKeepsTheRecording) {
    std::vector<std::string> launcher;
    for (const char* mounts : {"-m", "-Urm"}) {
        const auto attempt = stage::runToEnd({"unshare", mounts, "mount", "-t", "tmpfs", "none", "/mnt"});
        if (attempt.status == 0) launcher = {"unshare", mounts};
    }
    if (launcher.empty()) GTEST_SKIP() << "no volume can be mounted here";
    const std::filesystem::path volume = folder / "volume";
    std::filesystem::create_directory(volume);
    // The volume vanishes with the program.
    const std::filesystem::path kept = std::exchange(file, volume / "movie.mp4");
    launcher.insert(launcher.end(), {"sh", "-c",
                                     "mount -t tmpfs -o size=24m none \"$1\" || exit 99\n"
                                     "movie=$1/movie.mp4 kept=$2; shift 2\n"
                                     "\"$@\"; status=$?\n"
                                     "cp \"$movie\" \"$kept\"; exit $status",
                                     "sh", volume, kept});
    Program program = record({"--screen", "--encoding-quality=maximum", "--fps=60"}, {}, launcher);
    const std::string root = "/proc/" + std::to_string(program.process().processId()) + "/root";
    // Of a file that is only begun, nothing could be kept.
    std::error_code missing;
    const auto hasPictures = [&] {
        const auto size = std::filesystem::file_size(root + file.string(), missing);
        return !missing && size > MiB;
    };
    ASSERT_TRUE(eventually(hasPictures));
    std::ofstream other(root + (volume / "other").string(), std::ios::binary);
    const std::vector<char> chunk(64 * 1024, 'x');
    for (std::uintmax_t written = 0; written < GetParam() && other; written += chunk.size())
        other.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    ASSERT_EQ(GetParam() == partOfIt, other.good());
    expectKept(program.end(timeout), kept, GetParam() == partOfIt ? "The disk is almost full." : "");
}

INSTANTIATE_TEST_SUITE_P(Bytes, SmallVolumeTests, testing::Values(partOfIt, 64 * MiB));

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
        {{"LD_PRELOAD", LUMICRATE_SLOW_DISK_LIBRARY}, {"ASAN_OPTIONS", "verify_asan_link_order=0"}});
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

}  // namespace
}  // namespace lumicrate::test
