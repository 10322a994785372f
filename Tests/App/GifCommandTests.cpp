// GIFs from the command line.
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class GifCommandTests : public testing::Test {
 protected:
    /// 1280 by 720 pixels, 30 a second.
    std::filesystem::path makeMovie(int seconds) const {
        const auto movie = folder / "movie.mp4";
        stage::runProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                           "testsrc2=s=1280x720:r=30:d=" + std::to_string(seconds), "-c:v", "libx264",
                           "-preset", "ultrafast", "-movflags", "+faststart", movie},
                          {}, 120);
        return movie;
    }
    stage::Environment environment() const { return {{"HOME", folder.path()}}; }
    Outcome gif(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "gif");
        return run(std::move(arguments), environment());
    }
    static std::string contentOf(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static void expectRefused(const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.output, IsEmpty());
        EXPECT_THAT(outcome.error, StartsWith("lumicrate: Couldn't make the GIF: "));
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
    }

    TemporaryFolder folder;
};

TEST_F(GifCommandTests, MakesAGifOfTheRightSizeAndLength) {
    const auto movie = makeMovie(2);
    const std::string before = contentOf(movie);
    const struct {
        std::vector<std::string> options;
        std::string name;
        int width;
        std::size_t frames;
    } cases[] = {{{}, "movie.gif", 640, 24},
                 {{"--width", "480", "--fps", "10"}, "movie_2.gif", 480, 20},
                 {{"--width=4000", "--fps=5", "--output", folder / "own.gif"}, "own.gif", 1280, 10}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        std::vector<std::string> arguments{movie};
        arguments.insert(arguments.end(), each.options.begin(), each.options.end());
        const Outcome outcome = gif(arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_EQ(outcome.file(), folder / each.name);
        stage::MovieProbe probe(outcome.file());
        EXPECT_EQ(probe.videoTrack().width, each.width);
        EXPECT_EQ(probe.videoTrack().height, each.width * 9 / 16);
        EXPECT_EQ(probe.pictureTimes().size(), each.frames);
        EXPECT_NEAR(probe.duration(), 2, 0.02);
    }
    EXPECT_TRUE(contentOf(movie) == before);
}

TEST_F(GifCommandTests, WhatCannotBeDoneIsToldAndLeavesNothing) {
    const auto movie = makeMovie(2);
    const auto output = folder / "out.gif";
    const auto cut = folder / "cut.mp4";
    std::filesystem::copy_file(movie, cut);
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    std::ofstream(folder / "empty.mp4").flush();
    std::ofstream(folder / "taken.gif") << "Somebody's own.";
    for (const auto& bad : {folder / "none.mp4", folder / "empty.mp4", folder / "taken.gif", cut}) {
        SCOPED_TRACE(bad);
        expectRefused(gif({bad, "--output", output}));
        EXPECT_FALSE(std::filesystem::exists(output));
    }
    for (const std::string bad : {"taken.gif", "none/out.gif"}) {
        SCOPED_TRACE(bad);
        expectRefused(gif({movie, "--output", folder / bad}));
    }
    EXPECT_EQ(contentOf(folder / "taken.gif"), "Somebody's own.");

    // No file may grow beyond 64 KiB, as on a disk that is full then.
    Program limited({"gif", movie, "--output", output}, environment(),
                    {"bash", "-c", "ulimit -f 64; exec \"$@\"", "limited"});
    expectRefused(limited.end());
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(GifCommandTests, NumbersOutOfRangeAreNotUnderstood) {
    for (const std::string option :
         {"--width=15", "--width=4097", "--fps=0", "--fps=51", "--fps=12.5", "--fps="}) {
        const Outcome outcome = gif({"movie.mp4", option});
        EXPECT_EQ(outcome.status, 2) << option;
        EXPECT_THAT(outcome.error, HasSubstr("give a number from")) << option;
    }
    EXPECT_EQ(gif({}).status, 2);
    EXPECT_EQ(gif({"one.mp4", "two.mp4"}).status, 2);
}

TEST_F(GifCommandTests, GivenUpItLeavesNothing) {
    const auto movie = makeMovie(60);
    for (const int signal : {SIGINT, SIGKILL}) {
        Program program({"gif", movie, "--fps", "50"}, environment());
        program.awaitWriting();
        program.process().signal(signal);
        const Outcome outcome = program.end();
        if (signal == SIGINT) expectRefused(outcome);
        const std::filesystem::directory_iterator files(folder.path());
        EXPECT_THAT(std::vector<std::filesystem::path>(begin(files), end(files)), ElementsAre(movie));
    }
}

}  // namespace
}  // namespace lumicrate::test
