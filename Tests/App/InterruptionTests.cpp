// Recordings that are cut short: by signals, by what they record going away, and by the disk they are written
// to.

#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <optional>
#include <span>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr double frameTime = 1.0 / 30;
constexpr std::uintmax_t MiB = 1024 * 1024;
/// Seconds until a recording has reached a limit, on a busy machine.
constexpr double patience = 150;

/// A whole movie with its index in front, of which every picture can be decoded.
void expectPlayable(const std::filesystem::path& file) {
    ASSERT_TRUE(std::filesystem::exists(file));
    MovieProbe movie(file);
    const std::vector<double> times = movie.pictureTimes();
    EXPECT_EQ(times.size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
    ASSERT_FALSE(times.empty());
    EXPECT_GE(movie.duration(), times.back());
    EXPECT_TRUE(movie.indexInFront());
}

/// Ended by itself, for one reason, with a movie that plays.
void expectKept(const Outcome& outcome, const std::filesystem::path& file, const std::string& reason) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(sentences(outcome), ElementsAre(StartsWith("lumicrate: Recording stopped: " + reason)));
    EXPECT_EQ(outcome.file().filename(), file.filename());
    expectPlayable(file);
}

class InterruptionTests : public testing::Test {
 protected:
    static void SetUpTestSuite() {
        stage::PrivateDesktop::Options options;
        options.display = {1280, 720, true, false};
        desktop = std::make_unique<stage::PrivateDesktop>(options);
    }
    static void TearDownTestSuite() { desktop.reset(); }

    static std::unique_ptr<stage::PrivateDesktop> desktop;
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "movie.mp4";
};

std::unique_ptr<stage::PrivateDesktop> InterruptionTests::desktop;

TEST_F(InterruptionTests, SignalsThatEndAProgramStopAndSave) {
    const RunningScene scene({"moving"});
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(signal);
        Program program(recordArguments(file, {"--screen"}));
        awaitGrowth(file);
        program.process().signal(signal);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_THAT(sentences(outcome), IsEmpty());
        EXPECT_EQ(outcome.output, file.string() + "\n");
        expectPlayable(file);
        std::filesystem::remove(file);
    }
}

TEST_F(InterruptionTests, ImpatienceWhileItIsSavedLosesNothing) {
    const RunningScene scene({"moving"});
    Program program(recordArguments(file, {"--screen", "--system-audio"}));
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
    stage::Xvfb display;
    const stage::ScopedEnvironment there({{"DISPLAY", display.displayName()}});
    const RunningScene scene({"moving"});
    Program program(recordArguments(file, {"--screen"}));
    // Pictures may be written a moment before the start is over, which could still fail.
    awaitGrowth(file);
    awaitGrowth(file);
    display.kill();
    expectKept(program.end(patience), file, "");
}

TEST_F(InterruptionTests, TheEndOfTheSoundServerIsSilence) {
    stage::SoundServer server;
    const RunningScene scene({"flash"});
    Program program(recordArguments(file, {"--screen", "--system-audio", "--microphone"}));
    awaitGrowth(file);
    const auto pass = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2500)); };
    pass();
    server.kill();
    pass();
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    expectPlayable(file);

    MovieProbe movie(file);
    const stage::Sound sound = movie.sound(0);
    EXPECT_GT(movie.duration(), 5);
    EXPECT_NEAR(movie.sound(0).duration(), movie.videoTrack().duration, frameTime);
    EXPECT_NEAR(movie.sound(1).duration(), movie.videoTrack().duration, frameTime);
    EXPECT_EQ(sound.discontinuities, 0);
    const std::span<const float> all(sound.samples[0]);
    EXPECT_GT(stage::loudness(all.first(2 * 48000)), 0.01);
    EXPECT_LT(stage::loudness(all.last(2 * 48000)), 0.0001);
}

/// A program on a volume of its own, which goes with it. The movie is then in `kept`.
class SmallVolume {
 public:
    /// How a process comes by mounts of its own here; nothing where it cannot.
    static std::optional<std::vector<std::string>> privateMounts() {
        for (const char* mounts : {"-m", "-Urm"}) {
            stage::ChildProcess::Options quiet;
            quiet.output = stage::ChildProcess::Output::Capture;
            stage::ChildProcess attempt({"unshare", mounts, "mount", "-t", "tmpfs", "none", "/mnt"}, quiet);
            if (attempt.mustEnd(30).exitStatus == 0) return std::vector<std::string>{"unshare", mounts};
        }
        return std::nullopt;
    }

    SmallVolume(const std::filesystem::path& folder, int megabytes, const std::vector<std::string>& more)
        : place_(folder / "volume"), kept_(folder / "movie.mp4") {
        std::filesystem::create_directory(place_);
        const std::vector<std::string> onVolume{"sh",
                                                "-c",
                                                "mount -t tmpfs -o size=$1m none \"$2\" || exit 99\n"
                                                "movie=$2/movie.mp4 kept=$3; shift 3\n"
                                                "\"$@\"; status=$?\n"
                                                "[ ! -e \"$movie\" ] || cp \"$movie\" \"$kept\"\n"
                                                "exit $status",
                                                "sh",
                                                std::to_string(megabytes),
                                                place_,
                                                kept_};
        std::vector<std::string> launcher = privateMounts().value();
        launcher.insert(launcher.end(), onVolume.begin(), onVolume.end());
        program_.emplace(recordArguments(place_ / "movie.mp4", more), stage::Environment{}, launcher);
    }

    Program& program() { return *program_; }
    const std::filesystem::path& kept() const { return kept_; }
    /// A file of the volume, while the program runs.
    std::filesystem::path at(const std::string& name) {
        return "/proc/" + std::to_string(program_->process().processId()) + "/root" + place_.string() + "/" +
               name;
    }
    /// Somebody else writes to it, `bytes` or until it is full.
    void fill(std::uintmax_t bytes) {
        std::ofstream other(at("other"), std::ios::binary);
        const std::vector<char> chunk(64 * 1024, 'x');
        for (std::uintmax_t written = 0; written < bytes && other; written += chunk.size())
            other.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        ASSERT_EQ(bytes < 64 * MiB, other.good());
    }

 private:
    std::filesystem::path place_;
    std::filesystem::path kept_;
    std::optional<Program> program_;
};

class SmallVolumeTests : public InterruptionTests {
 protected:
    void SetUp() override {
        if (!SmallVolume::privateMounts()) GTEST_SKIP() << "no volume can be mounted here";
    }
};

TEST_F(SmallVolumeTests, TooLittleRoomIsToldBeforeTheRecording) {
    SmallVolume volume(folder.path(), 12, {"--screen"});
    const Outcome outcome = volume.program().end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(sentences(outcome),
                ElementsAre("lumicrate: There is too little free space on the disk to record: 12 MB."));
    EXPECT_EQ(outcome.output, "");
    EXPECT_FALSE(std::filesystem::exists(volume.kept()));
}

TEST_F(SmallVolumeTests, ARecordingThatFillsItsVolumeEndsInTime) {
    const RunningScene scene({"moving"});
    SmallVolume volume(folder.path(), 24, {"--screen", "--encoding-quality=maximum", "--fps=60"});
    awaitGrowth(volume.at("movie.mp4"));
    volume.fill(12 * MiB);
    expectKept(volume.program().end(patience), volume.kept(), "The disk is almost full.");
}

TEST_F(SmallVolumeTests, WithoutRoomToMixItTheSoundStaysApart) {
    const stage::SoundServer server;
    const RunningScene scene({"moving"});
    SmallVolume volume(folder.path(), 24,
                       {"--screen", "--system-audio", "--microphone", "--mix-audio",
                        "--encoding-quality=maximum", "--fps=60"});
    awaitGrowth(volume.at("movie.mp4"));
    volume.fill(12 * MiB);
    const Outcome outcome = volume.program().end(patience);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(
        sentences(outcome),
        ElementsAre("lumicrate: There is no room on the disk to mix the audio tracks; they stay apart.",
                    "lumicrate: Recording stopped: The disk is almost full."));
    EXPECT_EQ(outcome.file().filename(), "movie.mp4");
    expectPlayable(volume.kept());
    EXPECT_EQ(MovieProbe(volume.kept()).tracks().size(), 3U);
}

TEST_F(SmallVolumeTests, AVolumeThatSomebodyElseFillsKeepsTheRecording) {
    const RunningScene scene({"moving"});
    SmallVolume volume(folder.path(), 24, {"--screen", "--encoding-quality=maximum", "--fps=60"});
    awaitGrowth(volume.at("movie.mp4"));
    volume.fill(64 * MiB);
    expectKept(volume.program().end(patience), volume.kept(), "");
}

TEST_F(InterruptionTests, AFileThatMayNotGrowKeepsTheRecording) {
    const RunningScene scene({"moving"});
    Program program(recordArguments(file, {"--screen", "--encoding-quality=maximum", "--fps=60"}), {},
                    {"sh", "-c", "ulimit -f 12288; exec \"$@\"", "sh"});
    expectKept(program.end(patience), file, "");
}

#ifdef __SANITIZE_ADDRESS__
constexpr long mostMegabytes = 1000;  // most of them the sanitizer's own
#else
constexpr long mostMegabytes = 200;
#endif

TEST_F(InterruptionTests, ADiskThatStaysSlowCostsWholePicturesAndNothingElse) {
    // About a tenth of what this takes.
    constexpr int slowSeconds = 12;
    constexpr int seconds = 14;
    const RunningScene scene({"moving"});
    Program program(recordArguments(file, {"--screen", "--system-audio", "--encoding-quality=maximum",
                                           "--duration", std::to_string(seconds)}),
                    {{"LD_PRELOAD", LUMICRATE_SLOW_DISK_LIBRARY},
                     {"LUMICRATE_SLOW_DISK", "40000 " + std::to_string(slowSeconds)},
                     {"ASAN_OPTIONS", "verify_asan_link_order=0"}});
    EXPECT_LT(program.process().mustEnd(patience).maxResidentKiB / 1024, mostMegabytes);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.error, HasSubstr(" pictures are missing"));
    expectPlayable(file);

    MovieProbe movie(file);
    EXPECT_NEAR(movie.duration(), seconds, 0.1);
    const stage::Sound sound = movie.sound();
    EXPECT_EQ(sound.discontinuities, 0);
    EXPECT_NEAR(sound.duration(), movie.duration(), 0.05);
    // For some seconds the disk's slowness is not felt.
    double last = 0;
    for (const double time : movie.pictureTimes()) {
        EXPECT_TRUE(last >= 4 || time - last < 1) << "from " << last << " to " << time;
        last = time;
    }
}

TEST_F(InterruptionTests, AFolderThatMayNotBeWrittenToAnyMoreKeepsTheRecording) {
    const RunningScene scene({"moving"});
    // The superuser's programs may write everywhere, unless they are told not to.
    const std::vector<std::string> asAnybody{"setpriv", "--bounding-set=-dac_override,-dac_read_search"};
    Program program(recordArguments(file, {"--screen"}), {},
                    geteuid() == 0 ? asAnybody : std::vector<std::string>());
    awaitGrowth(file);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    program.process().signal(SIGTERM);
    const Outcome outcome = program.end();
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.file(), file);
    expectPlayable(file);
}

TEST_F(InterruptionTests, AFolderThatIsRemovedEndsTheRecording) {
    const RunningScene scene({"moving"});
    const std::filesystem::path removed = folder / "removed";
    std::filesystem::create_directory(removed);
    Program program(recordArguments(removed / "movie.mp4", {"--screen"}));
    awaitGrowth(removed / "movie.mp4");
    std::filesystem::remove_all(removed);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(sentences(outcome), SizeIs(1));
    // What is said to be there is there.
    if (!outcome.output.empty()) expectPlayable(outcome.file());
}

}  // namespace
}  // namespace lumicrate::test
