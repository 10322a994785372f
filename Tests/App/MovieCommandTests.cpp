// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that make something of a finished movie: mix, convert, gif and trim.
#include "Tests/App/ProgramTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Key;

class MovieCommandTests : public testing::Test {
 protected:
    /// A movie with test pictures, 30 per second, and the given sounds, made by another program.
    std::filesystem::path makeMovie(const std::string& name, const std::string& size, int seconds,
                                    std::vector<int> tones = {},
                                    const std::vector<std::string>& encoding = {"-preset", "ultrafast"}) {
        const std::string duration = ":d=" + std::to_string(seconds);
        std::vector<std::string> command{"ffmpeg", "-v", "error", "-f", "lavfi", "-i"};
        command.push_back("testsrc2=s=" + size + ":r=30" + duration);
        for (const int tone : tones)
            command.insert(command.end(), {"-f", "lavfi", "-i", "sine=" + std::to_string(tone) + duration});
        for (std::size_t track = 0; track <= tones.size(); ++track)
            command.insert(command.end(), {"-map", std::to_string(track)});
        command.insert(command.end(), {"-c:v", "libx264", "-c:a", "aac"});
        command.insert(command.end(), encoding.begin(), encoding.end());
        command.push_back(folder / name);
        stage::runProgram(command, {}, 120);
        return folder / name;
    }
    std::map<std::string, std::string> contents() const { return contentsOf(folder.path()); }
    bool supportsUnnamedFiles() const {
        const int file = open(folder.path().c_str(), O_TMPFILE | O_RDWR, 0600);
        if (file >= 0) close(file);
        return file >= 0;
    }

    TemporaryFolder folder;
};

TEST_F(MovieCommandTests, MixReplacesTwoTracksByOne) {
    const auto path = makeMovie("a.mp4", "160x96", 2, {440, 1000});
    const Outcome outcome = run({"mix", path});
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.output, path.string() + "\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(MovieProbe(path).tracks().size(), 2U);
    const auto before = contents();
    const Outcome again = run({"mix", path});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.error, "lumicrate: The recording has fewer than two audio tracks.\n");
    EXPECT_EQ(contents(), before);
}

TEST_F(MovieCommandTests, CleanVoiceAddsATrackOnceAndMixKeepsOnlyThat) {
    const auto path = makeMovie("a.mp4", "160x96", 2, {440});
    const std::string before = readText(path);
    const Outcome copy = run({"clean-voice", path, "--normalize", "--output", folder / "b.mov"});
    EXPECT_EQ(copy.file(), folder / "b.mov") << copy.error;
    EXPECT_TRUE(readText(path) == before);
    expectFailure(run({"clean-voice", path, "--output", folder / "b.mov"}), 1, "File exists");
    EXPECT_EQ(run({"clean-voice", path}).file(), path);
    EXPECT_EQ(MovieProbe(path).tracks().size(), 3U);
    const Outcome again = run({"clean-voice", path});
    EXPECT_EQ(again.file(), path);
    EXPECT_EQ(again.error, "lumicrate: The voice in this recording is already clean.\n");
    run({"mix", path});
    EXPECT_EQ(MovieProbe(path).tracks().size(), 2U);
    EXPECT_THAT(contents(), ElementsAre(Key("a.mp4"), Key("b.mov")));
}

TEST_F(MovieCommandTests, ConvertMakesAnMP4BesideTheMovie) {
    const auto path = makeMovie("a.mov", "160x96", 2, {440, 1000});
    const auto before = contents();
    for (const std::string name : {"a.mp4", "a_2.mp4"}) {
        const Outcome outcome = run({"convert", path});
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_EQ(outcome.output, (folder / name).string() + "\n");
        MovieProbe converted(folder / name);
        EXPECT_EQ(converted.tracks().size(), 3U);
        EXPECT_EQ(converted.tag("major_brand"), "isom");
        EXPECT_THAT(converted.pictureTimes(),
                    testing::Pointwise(testing::DoubleNear(1e-6), MovieProbe(path).pictureTimes()));
    }
    EXPECT_THAT(contents(), ElementsAre(*before.begin(), Key("a.mp4"), Key("a_2.mp4")));
    EXPECT_EQ(run({"convert", path, "--replace"}).file(), folder / "a_3.mp4");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(MovieCommandTests, GifHasTheChosenSizeAndRate) {
    const auto movie = makeMovie("movie.mp4", "1280x720", 2);
    const std::string before = readText(movie);
    const struct {
        std::vector<std::string> options;
        std::string name;
        int width;
        std::size_t frames;
    } cases[] = {{{}, "movie.gif", 640, 24},
                 {{"--width", "480", "--fps", "10"}, "movie_2.gif", 480, 20},
                 {{"--width=4000", "--fps=5", "--output", folder / "own.gif"}, "own.gif", 1280, 10}};
    for (const auto& [options, name, width, frames] : cases) {
        SCOPED_TRACE(name);
        std::vector<std::string> arguments{"gif", movie};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = run(arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_EQ(outcome.file(), folder / name);
        MovieProbe gif(outcome.file());
        EXPECT_EQ(gif.videoTrack().width, width);
        EXPECT_EQ(gif.videoTrack().height, width * 9 / 16);
        EXPECT_EQ(gif.pictureTimes().size(), frames);
        EXPECT_NEAR(gif.duration(), 2, 0.02);
    }
    EXPECT_TRUE(readText(movie) == before);
}

TEST_F(MovieCommandTests, CopiesStayJustBelowASize) {
    const auto movie = makeMovie("busy.mp4", "640x360", 3, {440, 1000});
    const auto calm = makeMovie("calm.mp4", "640x360", 6, {}, {"-preset", "ultrafast", "-r", "1"});
    const struct {
        std::vector<std::string> arguments;
        std::string name;
        double limit;
    } cases[] = {
        {{"gif", movie, "--max-size", "500kB", "--fps", "10"}, "busy.gif", 500e3},
        {{"gif", movie, "--max-size=90 KiB", "--output", folder / "own.webp"}, "own.webp", 90 * 1024},
        {{"share", movie, "--max-size", "0.25MB"}, "busy_small.mp4", 250e3},
        {{"share", calm, "--max-size", "90kB"}, "calm_small.mp4", 90e3}};
    for (const auto& [arguments, name, limit] : cases) {
        SCOPED_TRACE(name);
        const Outcome outcome = run(arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_EQ(outcome.file(), folder / name);
        const auto size = static_cast<double>(std::filesystem::file_size(outcome.file()));
        EXPECT_LE(size, limit);
        EXPECT_GE(size, 0.85 * limit);
    }
    MovieProbe copy(folder / "busy_small.mp4");
    EXPECT_EQ(copy.tracks().size(), 2U) << "the sounds are mixed";
    EXPECT_NEAR(copy.duration(), 3, 0.05);
    EXPECT_EQ(run({"gif", movie, "--max-size", "10kB"}).status, 1);
    for (const char* nonsense : {"8", "MB", "-8MB", "8XB", "1kB"}) {
        const Outcome outcome = run({"share", movie, "--max-size", nonsense});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.error, HasSubstr("give a size of at least 10 kB with its unit, such as 8MB."));
    }
    EXPECT_THAT(contents(), ElementsAre(Key("busy.gif"), Key("busy.mp4"), Key("busy_small.mp4"),
                                        Key("calm.mp4"), Key("calm_small.mp4"), Key("own.webp")));
}

TEST_F(MovieCommandTests, TrimSavesACopyOrReplacesTheRecording) {
    const std::string comment(30'000, 'c');
    const auto movie =
        makeMovie("talk.mp4", "320x180", 6, {440}, {"-g", "60", "-metadata", "comment=" + comment});
    const std::string before = readText(movie);
    const struct {
        std::vector<std::string> options;
        const char* name;
        double duration;
        double tolerance;
    } cases[] = {{{"--from", "1.5", "--to", "0:04"}, "talk_trimmed.mp4", 2.5, 0.01},
                 {{"--from", "5", "--precise"}, "talk_trimmed_2.mp4", 1, 0.03},
                 {{"--to", "2", "--replace"}, "talk.mp4", 2, 0.01}};
    for (const auto& [options, name, duration, tolerance] : cases) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(readText(movie) == before);
        std::vector<std::string> arguments{"trim", movie};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.file(), folder / name) << outcome.error;
        const MovieProbe trimmed(outcome.file());
        EXPECT_NEAR(trimmed.duration(), duration, tolerance);
        EXPECT_TRUE(trimmed.tag("comment") == comment);
    }
    EXPECT_THAT(contents(), ElementsAre(Key("talk.mp4"), Key("talk_trimmed.mp4"), Key("talk_trimmed_2.mp4")));
}

TEST_F(MovieCommandTests, FailuresAreOneSentenceAndChangeNothing) {
    const std::string whole = readText(makeMovie("whole.mp4", "320x180", 2, {440, 1000}));
    std::filesystem::create_directory(folder / "folder.mp4");
    const auto write = [this](const char* name, const std::string& bytes) {
        std::ofstream(folder / name, std::ios::binary) << bytes;
    };
    write("empty.mp4", "");
    write("text.mp4", "This is not a movie.\n");
    write("cut.mp4", whole.substr(0, whole.size() / 2));
    write("taken.gif", "Another file.");
    const std::string silent =
        readText(makeMovie("silent.mp4", "320x180", 2, {}, {"-movflags", "+faststart"}));
    write("silent.mp4", silent.substr(0, silent.size() / 2));
    const TemporaryFolder elsewhere;
    const std::string pipe = elsewhere / "pipe.mp4";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const auto before = contents();
    const std::string gifFailure = "Couldn't make the GIF: ";
    for (const std::string name : {"missing.mp4", "folder.mp4", "empty.mp4", "text.mp4", "cut.mp4"}) {
        SCOPED_TRACE(name);
        for (const std::string command : {"mix", "convert", "clean-voice"})
            expectFailure(run({command, folder / name}), 1, "lumicrate: “" + name + "” ");
        expectFailure(run({"gif", folder / name}), 1, gifFailure);
    }
    const std::filesystem::path movie = folder / "whole.mp4";
    for (const std::string command : {"mix", "convert", "gif"}) {
        SCOPED_TRACE(command);
        Program full({command, movie}, {}, {"prlimit", "--fsize=20000"});
        expectFailure(full.end(), 1,
                      command == "gif" ? gifFailure : "The new file couldn't be written: File too large.");
        expectFailure(run({command}), 2, "Give one file.");
        expectFailure(run({command, "a.mp4", "b.mp4"}), 2, "Give one file.");
    }
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string sentence;
    } cases[] = {
        {{"gif", movie, "--output", folder / "taken.gif"}, 1, gifFailure},
        {{"gif", movie, "--output", folder / "none/out.gif"}, 1, gifFailure},
        {{"gif", folder / std::string(256, 'x')}, 1, "File name too long."},
        {{"convert", pipe}, 1, "“pipe.mp4” couldn't be read: it isn't a movie."},
        {{"trim", pipe, "--to", "1"}, 1, "“pipe.mp4” couldn't be read: it isn't a movie."},
        {{"mix", folder / "silent.mp4"}, 1, "“silent.mp4” couldn't be read: it is cut off."},
        {{"clean-voice", movie}, 1, "The recording has no microphone track."},
        {{"clean-voice", folder / "text.mp4", "--output", ""}, 2, "for --output: give a file name."},
        {{"gif", movie, "--output", ""}, 2, "“” is not a valid value for --output: give a file name."},
        {{"open", ""}, 2, "“open” needs one file."},
        {{"open", folder / "folder.mp4"}, 1, "There is no file"},
        {{"gif", movie, "--width=15"}, 2, "give a number from 16 to 4096"},
        {{"gif", movie, "--width=4097"}, 2, "give a number from 16 to 4096"},
        {{"gif", movie, "--fps=0"}, 2, "“0” is not a valid value for --fps: give a number from 1 to 50."},
        {{"gif", movie, "--fps=51"}, 2, "give a number from 1 to 50"},
        {{"zoom", movie}, 1, "Couldn't make the zoomed copy: The recording contains no clicks to zoom to."},
        {{"zoom", movie, "--scale=4.5"}, 2, "give a number from 1.1 to 4"},
        {{"trim", movie, "--from", "1.5", "--to", "1"}, 1, "The range is empty."},
        {{"trim", movie, "--from", "1", "--to", "1"}, 1, "The range is empty."},
        {{"trim", movie, "--from", "7"}, 1, "outside the recording"},
        {{"trim", movie, "--from", "7", "--to", "8", "--precise"}, 1, "outside the recording"},
        {{"trim", movie, "--to", "soon"}, 2, "“soon” is not a time."},
        {{"trim", movie, "another.mp4"}, 2, "Give one file."},
        {{"trim", movie, "--fast"}, 2, "Unknown option “--fast”."},
    };
    for (const auto& [arguments, status, sentence] : cases)
        expectFailure(run(arguments), status, sentence);
    EXPECT_EQ(contents(), before);
}

TEST_F(MovieCommandTests, CancellingLeavesNothing) {
    const auto movie = makeMovie("long.mov", "640x360", 60, {440, 1000},
                                 {"-preset", "ultrafast", "-bf", "2", "-x264-params", "scenecut=0"});
    const auto voice = makeMovie("voice.mp4", "64x64", 600, {440});
    const auto before = contents();
    const struct {
        std::vector<std::string> arguments;
        int signal;
        std::string sentence;
    } cases[] = {
        {{"mix", movie}, SIGINT, "lumicrate: It was cancelled.\n"},
        {{"mix", movie}, SIGTERM, "lumicrate: It was cancelled.\n"},
        {{"mix", movie}, SIGKILL, ""},
        {{"clean-voice", voice}, SIGTERM, "lumicrate: It was cancelled.\n"},
        {{"clean-voice", voice}, SIGKILL, ""},
        {{"gif", movie, "--fps", "50"}, SIGINT, "lumicrate: Couldn't make the GIF: It was cancelled.\n"},
        {{"gif", movie, "--fps", "50"}, SIGKILL, ""},
        {{"trim", movie, "--from", "0.5", "--precise"},
         SIGINT,
         "lumicrate: Couldn't save the trimmed recording: It was cancelled.\n"},
    };
    for (const auto& [arguments, signal, sentence] : cases) {
        SCOPED_TRACE(arguments.front() + std::to_string(signal));
        Program program(arguments);
        program.awaitWriting();
        program.process().signal(signal);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.error, sentence);
        if (signal != SIGKILL) {
            EXPECT_EQ(outcome.status, 1);
        } else if (!supportsUnnamedFiles()) {
            continue;  // then the new file has a name and stays
        }
        EXPECT_TRUE(contents() == before);
    }
}

TEST_F(MovieCommandTests, ASignalEndsWhatIsStuck) {
    const std::string file = folder / "stalled.mp4";
    const stage::Environment environment{{"LD_PRELOAD", LUMICRATE_SLOW_DISK_LIBRARY},
                                         {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
    const std::vector<std::string> cases[] = {{"mix", file},     {"clean-voice", file},
                                              {"convert", file}, {"gif", file},
                                              {"trim", file},    {"record", "--output", file}};
    for (const auto& arguments : cases) {
        SCOPED_TRACE(arguments.front());
        Program program(arguments, environment);
        ASSERT_EQ(program.process().readLine(), "stalled");
        program.process().signal(SIGINT);
        const Outcome outcome = program.end(5);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.error, testing::MatchesRegex("lumicrate: (It was c|C)ancelled.*\\.\n"));
    }
}

}  // namespace
}  // namespace lumicrate::test
