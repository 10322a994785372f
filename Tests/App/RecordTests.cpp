// The real program on a private desktop, judged by the movies it leaves.

#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using stage::Picture;
using stage::Track;

constexpr double frameTime = 1.0 / 30;

/// Long forms of the tests, for a thorough run by hand.
bool isThorough() {
    return std::getenv("LUMICRATE_THOROUGH") != nullptr;
}

class RecordTests : public testing::Test {
 protected:
    static constexpr int width = 1600;
    static constexpr int height = 900;

    static void SetUpTestSuite() {
        stage::PrivateDesktop::Options options;
        options.display = {width, height, true, false};
        desktop = std::make_unique<stage::PrivateDesktop>(options);
    }
    static void TearDownTestSuite() { desktop.reset(); }

    void SetUp() override { Painter().movePointer(width - 1, height - 1); }

    std::vector<std::string> arguments(const std::vector<std::string>& more,
                                       const std::string& name = "movie.mp4") const {
        return recordArguments(folder / name, more);
    }

    static std::unique_ptr<stage::PrivateDesktop> desktop;
    TemporaryFolder folder;
};

std::unique_ptr<stage::PrivateDesktop> RecordTests::desktop;

void expectVideoFacts(const Track& track, int width, int height) {
    EXPECT_EQ(track.codec, "h264");
    EXPECT_EQ(track.codecTag, "avc1");
    EXPECT_EQ(track.profile, "High");
    EXPECT_EQ(track.pixelFormat, "yuv420p");
    EXPECT_EQ(track.width, width);
    EXPECT_EQ(track.height, height);
    EXPECT_EQ(track.colorPrimaries, "bt709");
    EXPECT_EQ(track.colorTransfer, "bt709");
    EXPECT_EQ(track.colorMatrix, "bt709");
    EXPECT_EQ(track.colorRange, "tv");
}

void expectAudioFacts(const Track& track, int channels) {
    EXPECT_EQ(track.codec, "aac");
    EXPECT_EQ(track.sampleRate, 48000);
    EXPECT_EQ(track.channels, channels);
}

TEST_F(RecordTests, WritesTheTracksThatWereAskedForAndNothingElseOnStandardOutput) {
    const RunningScene scene({"demo", "--seconds", "30"});
    const Outcome outcome = run(arguments({"--screen", "--system-audio", "--microphone", "--duration", "2"}));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.output, (folder / "movie.mp4").string() + "\n");

    MovieProbe movie(folder / "movie.mp4");
    ASSERT_EQ(movie.tracks().size(), 3U);
    EXPECT_EQ(movie.tracks()[0].kind, Track::Kind::Video);
    expectVideoFacts(movie.videoTrack(), width, height);
    expectAudioFacts(movie.audioTrack(0), 2);
    expectAudioFacts(movie.audioTrack(1), 1);
    EXPECT_EQ(movie.audioTrack(0).index, 1);
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_NEAR(movie.duration(), 2, frameTime);
    EXPECT_NEAR(movie.videoTrack().duration, 2, frameTime);
    EXPECT_GT(movie.pictureTimes().size(), 30U);
}

TEST_F(RecordTests, ScalesToTheChosenQuality) {
    const RunningScene scene({"demo", "--seconds", "30"});
    const Outcome outcome =
        run(arguments({"--screen", "--quality", "p720", "--duration", "1", "--fps", "60"}));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    expectVideoFacts(MovieProbe(folder / "movie.mp4").videoTrack(), 1280, 720);
}

TEST_F(RecordTests, AStillScreenLastsItsTimeInTwoPictures) {
    const int seconds = isThorough() ? 20 : 4;
    const Outcome outcome = run(arguments({"--screen", "--duration", std::to_string(seconds)}));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    MovieProbe movie(folder / "movie.mp4");
    EXPECT_NEAR(movie.duration(), seconds, frameTime);
    EXPECT_LE(movie.packets(0).size(), 3U);
    EXPECT_NEAR(movie.pictureTimes().back(), seconds, frameTime);
}

/// How often the threads of a process have gone to sleep so far.
long sleeps(pid_t process) {
    long count = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(thread.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:"))
                count += std::stol(line.substr(line.find(':') + 1));
        }
    }
    return count;
}

TEST_F(RecordTests, AStillScreenWakesNobody) {
    Program program(arguments({"--screen"}));
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const long before = sleeps(program.process().processId());
    const auto begun = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(4));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begun;
    const long after = sleeps(program.process().processId());
    program.process().signal(SIGINT);
    EXPECT_EQ(program.end().status, 0);
    EXPECT_GT(before, 0);
    EXPECT_LE(static_cast<double>(after - before), 5 * passed.count());
}

TEST_F(RecordTests, ColoursComeBackAsTheyWere) {
    Painter painter;
    std::vector<std::uint32_t> colors;
    for (const std::uint32_t red : {0U, 51U, 128U, 204U, 255U}) {
        for (const std::uint32_t green : {0U, 77U, 178U, 255U}) {
            for (const std::uint32_t blue : {0U, 128U, 255U})
                colors.push_back(red << 16 | green << 8 | blue);
        }
    }
    constexpr int columns = 10;
    constexpr int size = 64;
    for (std::size_t i = 0; i < colors.size(); ++i) {
        painter.fill(static_cast<int>(i) % columns * size, static_cast<int>(i) / columns * size, size, size,
                     colors[i]);
    }
    const Outcome outcome = run(arguments({"--screen", "--duration", "1", "--encoding-quality", "maximum"}));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    const stage::OwnedPicture picture = MovieProbe(folder / "movie.mp4").lastPicture();
    int worst = 0;
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const stage::Rgb drawn{static_cast<int>(colors[i] >> 16), static_cast<int>(colors[i] >> 8 & 255),
                               static_cast<int>(colors[i] & 255)};
        const int x = static_cast<int>(i) % columns * size + size / 2;
        const int y = static_cast<int>(i) / columns * size + size / 2;
        worst = std::max(worst, picture->rgbAt(x, y).distanceTo(drawn));
    }
    EXPECT_LE(worst, 3);
}

/// The largest difference that a 16 × 16 block of the picture has to the screen on average: a rectangle that
/// was not brought up to date stands out, what coding does to a block does not.
double worstBlock(const Picture& picture, const std::vector<stage::Rgb>& screen, int screenWidth) {
    double worst = 0;
    for (int top = 0; top + 16 <= picture.height; top += 16) {
        for (int left = 0; left + 16 <= picture.width; left += 16) {
            double sum = 0;
            for (int y = top; y < top + 16; ++y) {
                for (int x = left; x < left + 16; ++x) {
                    const auto& color =
                        screen[static_cast<std::size_t>(y) * static_cast<std::size_t>(screenWidth) +
                               static_cast<std::size_t>(x)];
                    sum += std::abs(picture.luma().at(x, y) - stage::lumaOfBt709(color));
                }
            }
            worst = std::max(worst, sum / 256);
        }
    }
    return worst;
}

TEST_F(RecordTests, AfterRandomDrawingTheLastPictureIsTheScreen) {
    const int seconds = isThorough() ? 30 : 5;
    RunningScene scene({"random", "--seconds", std::to_string(seconds), "--hold"});
    Program program(arguments({"--screen"}));
    scene.awaitDrawn(seconds + 30);
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    const auto screen = Painter().read(0, 0, width, height);
    const stage::OwnedPicture picture = MovieProbe(folder / "movie.mp4").lastPicture();
    EXPECT_LT(worstBlock(*picture, screen, width), 4);
}

TEST_F(RecordTests, AnAreaIsCutOutToThePixel) {
    Painter painter;
    painter.fill(0, 0, width, height, 0x303030);
    painter.fill(101, 57, 640, 360, 0xFFFFFF);
    const Outcome outcome = run(arguments({"--area", "101,57,640,360", "--duration", "0.5"}));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    const stage::OwnedPicture picture = MovieProbe(folder / "movie.mp4").lastPicture();
    ASSERT_EQ(picture->width, 640);
    ASSERT_EQ(picture->height, 360);
    for (const auto& [x, y] : {std::pair{0, 0}, {639, 0}, {0, 359}, {639, 359}, {320, 180}}) {
        EXPECT_GT(picture->luma().at(x, y), 225) << x << "," << y;
    }
}

TEST_F(RecordTests, AMonitorIsRecordedByName) {
    stage::runProgram({"xrandr", "--setmonitor", "left", "800/200x900/200+0+0", "screen"});
    stage::runProgram({"xrandr", "--setmonitor", "right", "800/200x900/200+800+0", "none"});
    Painter painter;
    painter.fill(0, 0, 800, height, 0x0000FF);
    painter.fill(800, 0, 800, height, 0x00FF00);

    const auto listed = nlohmann::json::parse(run({"sources", "--json"}).output);
    ASSERT_EQ(listed["displays"].size(), 2U);
    EXPECT_EQ(listed["displays"][1]["name"], "right");
    EXPECT_EQ(listed["displays"][1]["x"], 800);
    EXPECT_FALSE(listed["microphones"].empty());

    const Outcome outcome = run(arguments({"--screen", "right", "--duration", "0.5"}));
    for (const char* monitor : {"left", "right"})
        stage::runProgram({"xrandr", "--delmonitor", monitor});
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    const stage::OwnedPicture picture = MovieProbe(folder / "movie.mp4").lastPicture();
    EXPECT_EQ(picture->width, 800);
    EXPECT_LE(picture->rgbAt(2, 2).distanceTo({0, 255, 0}), 6);
    EXPECT_LE(picture->rgbAt(797, 897).distanceTo({0, 255, 0}), 6);
}

/// When the middle of the picture turns from dark to bright, in seconds.
std::vector<double> flashes(MovieProbe& movie) {
    std::vector<double> times;
    bool bright = true;  // a movie that begins in the middle of a flash does not show its beginning
    movie.visitPictures([&](const Picture& picture) {
        const bool now = picture.luma().at(picture.width / 2, picture.height / 2) > 128;
        if (now && !bright) times.push_back(picture.time);
        bright = now;
        return true;
    });
    return times;
}

std::vector<double> beeps(MovieProbe& movie) {
    const stage::Sound sound = movie.sound();
    std::vector<double> times;
    for (const std::size_t sample : stage::onsets(sound.samples[0], 0.05F, 9600))
        times.push_back(sound.timeAt(sample));
    return times;
}

TEST_F(RecordTests, PictureAndSoundStayTogetherAcrossAPause) {
    const double before = isThorough() ? 30 : 3.5;
    const double pause = isThorough() ? 5 : 2.3;
    const RunningScene scene({"flash", "--seconds", "200"});
    Program program(arguments({"--screen", "--system-audio"}));
    awaitGrowth(folder / "movie.mp4");
    const auto pass = [](double seconds) {
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    };
    pass(before);
    program.process().signal(SIGUSR1);
    pass(pause);
    program.process().signal(SIGUSR1);
    pass(before);
    program.process().signal(SIGTERM);
    const Outcome outcome = program.end();
    ASSERT_EQ(outcome.status, 0) << outcome.error;

    MovieProbe movie(folder / "movie.mp4");
    // The pause is in none of the tracks.
    EXPECT_NEAR(movie.duration(), 2 * before, 0.7);
    EXPECT_NEAR(movie.audioTrack().duration, movie.videoTrack().duration, frameTime);
    const std::vector<double> seen = flashes(movie);
    const std::vector<double> heard = beeps(movie);
    ASSERT_GE(seen.size(), static_cast<std::size_t>(2 * before) - 2);
    double worst = 0;
    std::size_t together = 0;
    for (const double flash : seen) {
        // The pause may have cut either off; a beep of another flash is a second away.
        const auto nearest = std::min_element(heard.begin(), heard.end(), [&](double a, double b) {
            return std::abs(a - flash) < std::abs(b - flash);
        });
        if (nearest == heard.end() || std::abs(*nearest - flash) > 0.25) continue;
        ++together;
        worst = std::max(worst, std::abs(*nearest - flash));
    }
    EXPECT_GE(together + 2, seen.size());
    EXPECT_LE(worst, frameTime);
    RecordProperty("worst_offset_ms", static_cast<int>(std::lround(worst * 1000)));
    std::printf("picture and sound at most %.1f ms apart in %zu flashes\n", worst * 1000, together);
}

TEST_F(RecordTests, SoundAloneBecomesAnM4A) {
    const RunningScene scene({"flash", "--seconds", "30"});
    const Outcome outcome =
        run(arguments({"--audio", "--system-audio", "--microphone", "--duration", "2.5"}, "sound.m4a"));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    MovieProbe movie(folder / "sound.m4a");
    ASSERT_EQ(movie.tracks().size(), 2U);
    expectAudioFacts(movie.audioTrack(0), 2);
    expectAudioFacts(movie.audioTrack(1), 1);
    EXPECT_NEAR(movie.duration(), 2.5, 0.1);
    EXPECT_GE(beeps(movie).size(), 2U);
}

TEST_F(RecordTests, TracksAreMixedIntoOneWhenThatIsWanted) {
    const RunningScene scene({"flash", "--seconds", "30"});
    const Outcome outcome =
        run(arguments({"--screen", "--system-audio", "--microphone", "--mix-audio", "--duration", "2.5"}));
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    MovieProbe movie(folder / "movie.mp4");
    ASSERT_EQ(movie.tracks().size(), 2U);
    expectVideoFacts(movie.videoTrack(), width, height);
    expectAudioFacts(movie.audioTrack(), 2);
    EXPECT_NEAR(movie.audioTrack().duration, movie.videoTrack().duration, 1e-3);
    EXPECT_GE(beeps(movie).size(), 2U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(RecordTests, NamesItsFilesInTheVideosFolder) {
    const stage::Environment videos{{"XDG_CONFIG_HOME", (folder / "config").string()}};
    std::filesystem::create_directories(folder / "config");
    run({"settings", "countdown", "false"}, videos);
    run({"settings", "captureSystemAudio", "false"}, videos);
    run({"settings", "quality", "p720"}, videos);
    const Outcome outcome = run({"record", "--duration", "0.3"}, videos);
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    const std::filesystem::path file = outcome.file();
    EXPECT_EQ(file.parent_path().filename(), "Lumicrate");
    EXPECT_TRUE(file.filename().string().starts_with("Recording-Screen_"));
    MovieProbe movie(file);
    EXPECT_EQ(movie.tracks().size(), 1U);
    EXPECT_EQ(movie.videoTrack().height, 720);
    std::filesystem::remove(file);
}

struct Refusal {
    const char* name;
    std::vector<std::string> arguments;
    int status;
    const char* sentence;
    stage::Environment environment{};
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.name;
}

class RefusalTests : public RecordTests, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTests, IsOneSentenceAndLeavesNoFile) {
    const Refusal& refusal = GetParam();
    const Outcome outcome = run(arguments(refusal.arguments), refusal.environment);
    EXPECT_EQ(outcome.status, refusal.status);
    EXPECT_NE(outcome.error.find(refusal.sentence), std::string::npos) << outcome.error;
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
    EXPECT_EQ(outcome.output, "");
    EXPECT_FALSE(std::filesystem::exists(folder / "movie.mp4"));
}

const stage::Environment noSound{{"XDG_RUNTIME_DIR", "/nonexistent"}, {"PIPEWIRE_RUNTIME_DIR", std::nullopt}};

INSTANTIATE_TEST_SUITE_P(
    Everything, RefusalTests,
    testing::Values(
        Refusal{"no_display", {"--screen"}, 1, "No display server can be reached", {{"DISPLAY", ":9999"}}},
        Refusal{"no_display_variable",
                {"--screen"},
                1,
                "No display server can be reached",
                {{"DISPLAY", std::nullopt}}},
        Refusal{"unknown_screen", {"--screen", "DP-7"}, 1, "There is no screen “DP-7”."},
        Refusal{"area_off_the_screen", {"--area", "5000,0,100,100"}, 1, "The area lies off the screen."},
        Refusal{"missing_folder",
                {"--screen", "--output", "/nonexistent/a.mp4"},
                1,
                "There is no folder “/nonexistent”."},
        Refusal{"unwritable_folder", {"--screen", "--output", "/proc/a.mp4"}, 1, "/proc/a.mp4"},
        Refusal{"existing_file", {"--screen", "--output", "/etc/passwd"}, 1, "“/etc/passwd” exists already."},
        Refusal{"unknown_option", {"--colour"}, 2, "Unknown option “--colour”."},
        Refusal{"unknown_value", {"--fps", "25"}, 2, "“25” is no value for --fps"},
        Refusal{"neither_source", {"--audio"}, 1, "Turn on Microphone or System audio to record audio."},
        Refusal{
            "no_sound_server", {"--screen", "--system-audio"}, 1, "No sound server can be reached", noSound},
        Refusal{
            "unknown_microphone", {"--screen", "--microphone=nope"}, 1, "There is no microphone “nope”."}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(RecordTests, WithoutASoundServerItRecordsThePictureAndSaysSo) {
    stage::Environment environment = noSound;
    environment["XDG_CONFIG_HOME"] = (folder / "config").string();
    std::filesystem::create_directories(folder / "config");
    const Outcome outcome =
        run({"record", "--no-countdown", "--duration", "0.3", "--output", folder / "movie.mp4"}, environment);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.error.find("No sound server can be reached"), std::string::npos) << outcome.error;
    EXPECT_EQ(MovieProbe(folder / "movie.mp4").tracks().size(), 1U);
}

TEST_F(RecordTests, ACountdownCanBeCancelled) {
    Program program(
        {"record", "--countdown", "--no-system-audio", "--no-microphone", "--output", folder / "movie.mp4"});
    // Nothing tells from outside that the countdown runs; a signal before it cancels as well.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.error.find("Cancelled before the recording began."), std::string::npos)
        << outcome.error;
    EXPECT_FALSE(std::filesystem::exists(folder / "movie.mp4"));
}

}  // namespace
}  // namespace lumicrate::test
