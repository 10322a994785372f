// SPDX-License-Identifier: GPL-3.0-or-later
// The real program on a private desktop, judged by the movies it leaves.
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/Media/Voice.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Measure.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <sstream>

namespace lumicrate::test {
namespace {

using stage::Track;
using testing::HasSubstr;

constexpr double frameTime = 1.0 / 30;
constexpr int width = 1600;
constexpr int height = 900;

const stage::Environment noSound{{"XDG_RUNTIME_DIR", "/nonexistent"}, {"PIPEWIRE_RUNTIME_DIR", std::nullopt}};

void expectVideoFacts(const Track& track) {
    EXPECT_EQ(track.codec, "h264");
    EXPECT_EQ(track.codecTag, "avc1");
    EXPECT_EQ(track.profile, "High");
    EXPECT_EQ(track.pixelFormat, "yuv420p");
    EXPECT_EQ(std::pair(track.width, track.height), std::pair(width, height));
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

/// The times when the middle of the picture turns from dark to bright, seconds.
std::vector<double> flashes(MovieProbe& movie) {
    std::vector<double> times;
    bool bright = true;  // a flash that is on in the first picture has no visible start
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

class RecordTests : public ProgramTest {
 protected:
    RecordTests() : ProgramTest({.display = {width, height, true, false}}) {
        Painter().movePointer(width - 1, height - 1);
    }
};

TEST_F(RecordTests, WritesTheRequestedTracksAndPrintsOnlyThePath) {
    const RunningScene scene({"flash", "--seconds", "200"});
    const struct {
        std::vector<std::string> arguments;
        const char* name;
        std::vector<int> channels;  ///< of each audio track
    } cases[] = {{{"--screen"}, "separate.mp4", {2, 1}},
                 {{"--screen", "--mix-audio"}, "mixed.mp4", {2}},
                 {{"--audio"}, "sound.m4a", {2, 1}}};
    for (const auto& [arguments, name, channels] : cases) {
        SCOPED_TRACE(name);
        file = folder / name;
        std::vector<std::string> all{"--system-audio", "--microphone", "--duration", "2.5"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(recordToEnd(all).output, file.string() + "\n");
        MovieProbe movie(file);
        const std::size_t pictureTracks = movie.count(Track::Kind::Video);
        ASSERT_EQ(movie.count(Track::Kind::Audio), channels.size());
        EXPECT_TRUE(movie.indexInFront());
        EXPECT_NEAR(movie.duration(), 2.5, pictureTracks == 0 ? 0.1 : frameTime);
        EXPECT_GE(beeps(movie).size(), 2U);
        for (std::size_t i = 0; i < channels.size(); ++i)
            expectAudioFacts(movie.audioTrack(i), channels[i]);
        ASSERT_EQ(pictureTracks, arguments.front() == "--screen" ? 1U : 0U);
        if (pictureTracks == 0) continue;
        expectVideoFacts(movie.tracks().front());
        EXPECT_NEAR(movie.audioTrack().duration, movie.videoTrack().duration, frameTime);
    }
    EXPECT_THAT(contentsOf(folder.path()), testing::SizeIs(3));
}

/// The effective value of half a second.
double levelAt(const Samples& sound, std::size_t from) {
    double squares = 0;
    for (std::size_t i = from; i < from + 24000; ++i)
        squares += static_cast<double>(sound[i]) * static_cast<double>(sound[i]);
    return std::sqrt(squares / 24000);
}

TEST_F(RecordTests, ANoisyMicrophoneIsCleanedWhenTheRecordingIsSaved) {
    const Samples voice = syntheticVoice(60, 0.05);
    const Samples noisy = sum(voice, syntheticNoise(Noise::rumble, voice.size(), 0.1 * levelInSpeech(voice)));
    const std::string played = folder / "voice";
    std::ofstream(played, std::ios::binary)
        .write(reinterpret_cast<const char*>(noisy.data()),
               static_cast<std::streamsize>(noisy.size() * sizeof(float)));
    const stage::ChildProcess player({"paplay", "--raw", "--format=float32le", "--rate=48000", "--channels=1",
                                      "--device=micfeed", played});
    // Until it is heard, there is nothing to clean.
    pass(1);
    const Outcome outcome =
        recordToEnd({"--screen", "--microphone", "--duration", "7", "--clean-voice", "--normalize-voice"});
    EXPECT_THAT(outcome.sentences(), testing::IsEmpty());
    MovieProbe movie(file);
    ASSERT_EQ(movie.count(Track::Kind::Audio), 2U);
    EXPECT_EQ(movie.audioTrack(0).handler, "Microphone (Clean)");
    EXPECT_EQ(movie.audioTrack(1).handler, "Microphone (Original)");
    const Samples clean = movie.sound(0).samples[0];
    const Samples original = movie.sound(1).samples[0];
    ASSERT_EQ(clean.size(), original.size());
    EXPECT_EQ(delayOf(clean, original), 0);
    std::size_t pause = 0;
    std::size_t speech = 0;
    for (std::size_t i = 4800; i + 24000 < original.size(); i += 480) {
        if (levelAt(original, i) < levelAt(original, pause)) pause = i;
        if (levelAt(original, i) > levelAt(original, speech)) speech = i;
    }
    const double gain = levelAt(clean, speech) / levelAt(original, speech);
    EXPECT_LT(decibels(levelAt(clean, pause) / levelAt(original, pause) / gain), -8);
    const std::string measured = stage::runProgram(
        {"sh", "-c", "ffmpeg -nostats -i '" + file.string() + "' -map 0:1 -af ebur128 -f null - 2>&1"});
    const std::size_t found = measured.rfind("I: ");
    ASSERT_NE(found, std::string::npos);
    EXPECT_NEAR(std::stod(measured.substr(found + 2)), -16, 0.5);
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

TEST_F(RecordTests, AStillScreenHasAPictureASecondAndFewWakeups) {
    const int seconds = isThorough() ? 20 : 6;
    Program program = record({"--screen", "--duration", std::to_string(seconds)});
    pass(2);
    const long before = sleeps(program.process().processId());
    pass(seconds - 3);
    const long after = sleeps(program.process().processId());
    EXPECT_EQ(program.end().status, 0);
    EXPECT_GT(before, 0);
    EXPECT_LE(after - before, 12 * (seconds - 3));

    MovieProbe movie(file);
    EXPECT_NEAR(movie.duration(), seconds, frameTime);
    const auto pictures = movie.packets(0);
    EXPECT_LE(pictures.size(), static_cast<std::size_t>(seconds) + 3);
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        EXPECT_LT(pictures[i].pts - pictures[i - 1].pts, 1.001);
        EXPECT_FALSE(pictures[i].isKey);
    }
    EXPECT_NEAR(movie.pictureTimes().back(), seconds, frameTime);
}

TEST_F(RecordTests, AConstantFrameRateIsOneToOtherPrograms) {
    const RunningScene scene({"flash", "--seconds", "200"});
    Program program = record({"--screen", "--constant-frame-rate", "--fps", "24"});
    awaitBegun(program);
    pass(2);
    program.process().signal(SIGUSR1);
    pass(0.6);
    program.process().signal(SIGUSR1);
    pass(1);
    program.stop();
    for (const stage::Packet& packet : MovieProbe(file).packets(0))
        EXPECT_NEAR(packet.duration, 1.0 / 24, 1e-6) << packet.pts;
    EXPECT_EQ(stage::runProgram({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                                 "stream=r_frame_rate,avg_frame_rate", "-of", "csv=p=0", file.string()}),
              "24/1,24/1\n");
}

/// The largest mean difference of a 16 × 16 block of the picture from the screen. A rectangle that was not
/// updated stands out, coding noise does not.
double maxBlockDifference(const Picture& picture, const std::vector<Rgb>& screen) {
    double worst = 0;
    for (int top = 0; top + 16 <= picture.height; top += 16) {
        for (int left = 0; left + 16 <= picture.width; left += 16) {
            double sum = 0;
            for (int y = top; y < top + 16; ++y) {
                for (int x = left; x < left + 16; ++x) {
                    const Rgb& color = screen[static_cast<std::size_t>(y * width + x)];
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
    RunningScene scene({"random", "--seconds", std::to_string(seconds)});
    Program program = record({"--screen"});
    scene.awaitDrawn(seconds + 30);
    program.stop();
    const auto screen = Painter().read(0, 0, width, height);
    EXPECT_LT(maxBlockDifference(*MovieProbe(file).lastPicture(), screen), 4);
}

TEST_F(RecordTests, PictureAndSoundStayInStepAcrossAPause) {
    const double before = isThorough() ? 30 : 3.5;
    const double pause = isThorough() ? 5 : 2.3;
    const RunningScene scene({"flash", "--seconds", "200"});
    Program program = record({"--screen", "--system-audio"});
    awaitBegun(program);
    pass(before);
    program.process().signal(SIGUSR1);
    pass(pause);
    program.process().signal(SIGUSR1);
    pass(before);
    program.stop(SIGTERM);

    MovieProbe movie(file);
    // The pause is missing from all tracks.
    EXPECT_NEAR(movie.duration(), 2 * before, 0.7);
    EXPECT_NEAR(movie.audioTrack().duration, movie.videoTrack().duration, frameTime);
    const std::vector<double> seen = flashes(movie);
    const std::vector<double> heard = beeps(movie);
    ASSERT_GE(seen.size(), static_cast<std::size_t>(2 * before) - 2);
    double worst = 0;
    std::size_t matched = 0;
    for (const double flash : seen) {
        double offset = 1;
        for (const double beep : heard)
            offset = std::min(offset, std::abs(beep - flash));
        // The pause may have cut off the beep; that of the next flash is a second away.
        if (offset > 0.25) continue;
        ++matched;
        worst = std::max(worst, offset);
    }
    EXPECT_GE(matched + 2, seen.size());
    EXPECT_LE(worst, frameTime);
    std::printf("picture and sound at most %.1f ms apart in %zu flashes\n", worst * 1000, matched);
}

TEST_F(RecordTests, WithoutOptionsThePreferencesApply) {
    std::filesystem::create_directories(folder / "config");
    const stage::Environment environment{{"XDG_CONFIG_HOME", (folder / "config").string()}};
    for (const auto& [key, value] :
         {std::pair("countdown", "false"), {"captureSystemAudio", "false"}, {"quality", "p720"}})
        EXPECT_EQ(run({"settings", key, value}, environment).status, 0);
    const Outcome outcome = run({"record", "--duration", "0.3"}, environment);
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.file().parent_path().filename(), "Lumicrate");
    EXPECT_TRUE(outcome.file().filename().string().starts_with("Recording-Screen_"));
    const MovieProbe movie(outcome.file());
    EXPECT_EQ(movie.count(Track::Kind::Audio), 0U);
    EXPECT_EQ(std::pair(movie.videoTrack().width, movie.videoTrack().height), std::pair(1280, 720));
    std::filesystem::remove(outcome.file());
}

TEST_F(RecordTests, FailuresAreOneSentenceAndLeaveNoFile) {
    const std::string noDisplay = "No display server can be reached";
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string sentence;
        stage::Environment environment{};
    } cases[] = {
        {{"--screen"}, 1, noDisplay, {{"DISPLAY", ":9999"}}},
        {{"--screen"}, 1, noDisplay, {{"DISPLAY", std::nullopt}}},
        {{"--screen", "DP-7"}, 1, "There is no screen “DP-7”."},
        {{"--area", "5000,0,100,100"}, 1, "The area lies off the screen."},
        {{"--screen", "--output", "/nonexistent/a.mp4"}, 1, "There is no folder “/nonexistent”."},
        {{"--screen", "--output", "/proc/a.mp4"}, 1, "/proc/a.mp4"},
        {{"--screen", "--output", "/etc/passwd"}, 1, "“/etc/passwd” already exists."},
        {{"--screen", "--output", std::string(256, 'x')}, 1, "File name too long."},
        {{"--colour"}, 2, "Unknown option “--colour”."},
        {{"--fps", "25"}, 2, "“25” is not a valid value for --fps"},
        {{"--audio"}, 1, "Turn on Microphone or System audio to record audio."},
        {{"--screen", "--system-audio"}, 1, "No sound server can be reached", noSound},
        {{"--screen", "--microphone=nope"}, 1, "There is no microphone “nope”."},
    };
    for (const auto& [arguments, status, sentence, environment] : cases) {
        SCOPED_TRACE(sentence);
        expectFailure(record(arguments, environment).end(), status, sentence);
        EXPECT_FALSE(std::filesystem::exists(file));
    }
}

TEST_F(RecordTests, TheSmallestAreaIsAMovie) {
    recordToEnd({"--area", "5,5,1,1", "--duration", "0.5"});
    const MovieProbe movie(file);
    EXPECT_EQ(std::pair(movie.videoTrack().width, movie.videoTrack().height), std::pair(2, 2));
}

TEST_F(RecordTests, ACoveredPartIsPlainInEveryPicture) {
    const RunningScene scene({"random", "--seconds", "200"});
    recordToEnd({"--area", "51,41,640,480", "--cover", "100,80,201,141", "--duration", "2"});
    MovieProbe movie(file);
    int pictures = 0;
    movie.visitPictures([&](const Picture& picture) {
        ++pictures;
        int others = 0;
        // A little inside of the edges, where the codec does not blur.
        for (int y = 43; y < 176; ++y)
            for (int x = 53; x < 246; ++x)
                others += std::abs(picture.luma().at(x, y) - 50) > 6;
        EXPECT_EQ(others, 0) << picture.time;
        return true;
    });
    EXPECT_GT(pictures, 10);
}

/// Recorded input as `lumicrate data` prints it.
nlohmann::json inputIn(const std::filesystem::path& movie) {
    return nlohmann::json::parse(run({"data", movie, "--json"}).output);
}

/// The presses among recorded input.
std::vector<nlohmann::json> pressesIn(const nlohmann::json& input) {
    std::vector<nlohmann::json> presses;
    for (const auto& each : input)
        if (each["kind"] == "press") presses.push_back(each);
    return presses;
}

/// Each click is followed by a flash in the picture, which tells when it was.
TEST_F(RecordTests, PointerAndClicksAreKeptAsData) {
    constexpr PixelRect area{100, 50, 800, 600};
    const struct { int x, y, button; } clicks[] = {{300, 150, 1}, {100, 50, 3}, {899, 649, 2}};
    Painter painter;
    const auto paint = [&](std::uint32_t color) { painter.fill(400, 250, 200, 200, color); };
    paint(0);
    Program program = record({"--area", "100,50,800,600"});
    program.awaitState("recording");
    std::vector<double> took;  ///< from before each click to its flash, seconds
    for (const auto& [x, y, button] : clicks) {
        pass(0.4);
        const auto before = std::chrono::steady_clock::now();
        xdotool({"mousemove", std::to_string(x), std::to_string(y), "click", std::to_string(button)});
        paint(0xFFFFFF);
        took.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count());
        pass(0.4);
        paint(0);
        if (button != 3) continue;
        program.process().signal(SIGUSR1);
        pass(0.4);
        xdotool({"mousemove", "620", "470", "click", "1"});  // not where flashes are looked for
        pass(0.4);
        program.process().signal(SIGUSR1);
    }
    program.stop();

    MovieProbe movie(file);
    const std::vector<double> seen = flashes(movie);
    ASSERT_EQ(seen.size(), std::size(clicks));
    const auto events = inputIn(file);
    const auto presses = pressesIn(events);
    ASSERT_EQ(presses.size(), std::size(clicks));
    const auto pixel = [&area](const nlohmann::json& event) {
        return std::pair(int(std::floor(event["x"].get<double>() * area.width)) + area.x,
                         int(std::floor(event["y"].get<double>() * area.height)) + area.y);
    };
    for (std::size_t i = 0; i < presses.size(); ++i) {
        EXPECT_EQ(pixel(presses[i]), std::pair(clicks[i].x, clicks[i].y)) << i;
        EXPECT_EQ(presses[i]["button"], clicks[i].button);
        const double time = presses[i]["time"].get<double>();
        EXPECT_LE(time, seen[i] + frameTime) << i;
        EXPECT_GE(time, seen[i] - took[i] - frameTime) << i;
    }
    EXPECT_EQ(events[0]["time"], 0.0);
    EXPECT_EQ(events[0]["kind"], "pointer");
    const bool isWhereThePauseEnded = std::any_of(events.begin(), events.end(), [&](const auto& each) {
        return each["kind"] == "pointer" && pixel(each) == std::pair(620, 470);
    });
    EXPECT_TRUE(isWhereThePauseEnded);

    const double from = presses[1]["time"].get<double>() - 0.1;
    const Outcome trimmed = run({"trim", file, "--from", std::to_string(from), "--precise"});
    ASSERT_EQ(trimmed.status, 0) << trimmed.error;
    const auto kept = pressesIn(inputIn(trimmed.file()));
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_NEAR(kept[0]["time"].get<double>(), 0.1, 0.001);
    EXPECT_EQ(inputIn(trimmed.file())[0]["time"], 0.0);
    EXPECT_EQ(run({"data", file, "--remove"}).file(), file);
    EXPECT_EQ(inputIn(file).size(), 0U);
    EXPECT_THAT(run({"data", file, "--remove"}).error, HasSubstr("no such data"));
    MovieProbe without(file);
    EXPECT_EQ(flashes(without), seen);
}

TEST_F(RecordTests, ClicksAreHighlighted) {
    Program program = record({"--screen", "--clicks"});
    program.awaitState("recording");
    xdotool({"mousemove", "300", "200", "click", "1"});
    pass(0.1);
    program.stop();
    const auto picture = MovieProbe(file).lastPicture();
    int ring = 0;
    for (int x = 300; x < 340; ++x) {
        const Rgb color = picture->rgbAt(x, 200);
        if (color.red > color.blue + 100) ++ring;
    }
    EXPECT_GT(ring, 0);
}

/// Where the row of pressed keys is, in a picture of that height.
int rowOfKeys(int pictureHeight) {
    return pictureHeight - static_cast<int>(std::lround(pictureHeight * 0.09)) - 24;
}

/// The row of keys of a picture, as luma.
std::vector<int> keysIn(const Picture& picture) {
    std::vector<int> luma;
    for (int x = 0; x < picture.width; ++x)
        luma.push_back(picture.luma().at(x, rowOfKeys(picture.height)));
    return luma;
}

/// The first and the last column that differ; none if none do.
std::optional<std::pair<int, int>> difference(const std::vector<int>& one, const std::vector<int>& other) {
    std::optional<std::pair<int, int>> columns;
    for (int x = 0; x < static_cast<int>(one.size()); ++x) {
        if (std::abs(one[std::size_t(x)] - other[std::size_t(x)]) < 20) continue;
        columns = {columns ? columns->first : x, x};
    }
    return columns;
}

TEST_F(RecordTests, CommandsAreShownButNothingThatIsTyped) {
    TestWindow window(display(), {.frame = {1000, 300, 500, 400}, .managed = true, .title = "A window"});
    stage::runProgram({"setxkbmap", "us", "intl"});
    const struct {
        std::vector<std::string> source;
        Point corner;  ///< its top left one, on the root window
        bool showsTypedText;
    } cases[] = {{{"--screen"}, {0, 0}, false},
                 {{"--area", "300,100,640,480"}, {300, 100}, false},
                 {{"--window", std::to_string(window.id())}, {0, 0}, false},
                 {{"--screen"}, {0, 0}, true}};
    const auto mark = [&](const Point& corner, std::uint32_t colour) {
        Painter().fill(static_cast<int>(corner.x), static_cast<int>(corner.y), 16, 200, colour);
        window.fill({0, 0, 16, 200}, colour);
    };
    const stage::Environment environment{{"XDG_CONFIG_HOME", folder.path().string()}};
    for (const auto& [source, corner, showsTypedText] : cases) {
        SCOPED_TRACE(source.front() + (showsTypedText ? " with typed text" : ""));
        run({"settings", "showTypedText", showsTypedText ? "true" : "false"}, environment);
        std::vector<std::string> arguments = source;
        arguments.push_back("--keys");
        std::filesystem::remove(file);
        Program program = record(arguments, environment);
        program.awaitState("recording");
        xdotool({"type", "--delay", "5", "p4ssw0rd SECRET?!"});
        // A dead accent and e, AltGr and a letter, modifiers alone.
        xdotool({"key", "48", "26", "ISO_Level3_Shift+24", "Shift_L", "Control_L", "Caps_Lock", "Caps_Lock"});
        pass(0.4);
        mark(corner, 0xff0000);
        xdotool({"key", "ctrl+s"});
        pass(0.4);
        program.stop();
        mark(corner, 0);

        MovieProbe movie(file);
        std::vector<int> first;
        std::vector<int> last;
        bool shownBefore = false;
        movie.visitPictures([&](const Picture& picture) {
            last = keysIn(picture);
            if (first.empty()) first = last;
            const Rgb marked = picture.rgbAt(8, 100);
            if (marked.red < marked.blue + 100) shownBefore = shownBefore || difference(first, last);
            return true;
        });
        EXPECT_EQ(shownBefore, showsTypedText);
        const auto capsule = difference(first, last);
        ASSERT_TRUE(capsule);
        EXPECT_NEAR(capsule->first + capsule->second, static_cast<int>(first.size()), 4) << "centred";
        const int oneCommand = showsTypedText ? width : 180;
        EXPECT_LT(capsule->second - capsule->first, oneCommand);
    }
    stage::runProgram({"setxkbmap", "us"});
}

TEST_F(RecordTests, WithoutASoundServerOnlyThePictureIsRecorded) {
    stage::Environment environment = noSound;
    environment["XDG_CONFIG_HOME"] = folder.path().string();
    const Outcome outcome =
        run({"record", "--no-countdown", "--duration", "0.3", "--output", file}, environment);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.error, HasSubstr("No sound server can be reached"));
    EXPECT_EQ(MovieProbe(file).count(Track::Kind::Audio), 0U);
}

TEST_F(RecordTests, TheResultIsPrintedAndTheFileHandedOn) {
    const std::string copy = folder / "a copy.mp4";
    const Outcome handed =
        recordToEnd({"--duration", "0.3", "--json", "--after-save", "cp {} '" + copy + "'"}, noSound);
    const auto result = nlohmann::json::parse(handed.output);
    EXPECT_EQ(result["path"], file.string());
    EXPECT_EQ(result["error"], nullptr);
    EXPECT_GE(result["duration"], 0.3);
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(copy); }));
    std::filesystem::remove(file);
    const std::filesystem::path errors = folder / "errors";
    record({"--duration", "0.3", "--after-save", "false"}, noSound,
           {"sh", "-c", "exec \"$@\" 2> '" + errors.string() + "'", "sh"})
        .end();
    // By a process that outlives the recorder.
    EXPECT_TRUE(eventually([&] {
        std::stringstream said;
        said << std::ifstream(errors).rdbuf();
        return said.str().ends_with("lumicrate: The command after saving, “false”, failed with status 1.\n");
    }));
}

TEST_F(RecordTests, ACountdownCanBeCancelled) {
    Program program({"record", "--countdown", "--no-system-audio", "--no-microphone", "--output", file},
                    {{"LUMICRATE_LOG", "recorder"}});
    program.awaitState("countingDown");
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.sentences(),
                testing::ElementsAre("lumicrate: Cancelled before the recording began."));
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace lumicrate::test
