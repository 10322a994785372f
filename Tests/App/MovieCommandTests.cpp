// The commands that make something of a finished movie: mix and convert.
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using testing::ElementsAre;
using testing::HasSubstr;

class MovieCommandTests : public testing::Test {
 protected:
    /// A movie with two audio tracks, made by another program.
    std::filesystem::path movie(const std::string& name, const std::string& seconds = "1.5") const {
        stage::runProgram({"ffmpeg",
                           "-v",
                           "error",
                           "-f",
                           "lavfi",
                           "-i",
                           "testsrc2=s=160x96:r=30:d=" + seconds,
                           "-f",
                           "lavfi",
                           "-i",
                           "sine=440:d=" + seconds,
                           "-f",
                           "lavfi",
                           "-i",
                           "sine=1000:d=" + seconds,
                           "-map",
                           "0",
                           "-map",
                           "1",
                           "-map",
                           "2",
                           "-c:v",
                           "libx264",
                           "-preset",
                           "ultrafast",
                           "-c:a",
                           "aac",
                           (folder / name).string()});
        return folder / name;
    }
    std::filesystem::path file(const std::string& name, const std::string& bytes) const {
        std::ofstream(folder / name, std::ios::binary) << bytes;
        return folder / name;
    }
    static std::string bytesOf(const std::filesystem::path& path) {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    bool hasUnnamedFiles() const {
        const int file = open(folder.path().c_str(), O_TMPFILE | O_RDWR, 0600);
        if (file >= 0) close(file);
        return file >= 0;
    }
    /// All names in the folder, hidden ones too, and what they hold.
    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> all;
        for (const auto& each : std::filesystem::directory_iterator(folder.path()))
            all[each.path().filename()] = each.is_directory() ? "" : bytesOf(each.path());
        return all;
    }

    TemporaryFolder folder;
};

TEST_F(MovieCommandTests, MixPutsOneTrackInThePlaceOfTwo) {
    const auto path = movie("a.mp4");
    const Outcome outcome = run({"mix", path});
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.output, path.string() + "\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(MovieProbe(path).tracks().size(), 2U);
    const auto before = contents();
    const Outcome again = run({"mix", path});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.error, "lumicrate: There are no two audio tracks to mix.\n");
    EXPECT_EQ(contents(), before);
}

TEST_F(MovieCommandTests, ConvertMakesAnMP4BesideTheMovie) {
    const auto path = movie("a.mov");
    const auto before = contents();
    for (const std::string name : {"a.mp4", "a_2.mp4"}) {
        const Outcome outcome = run({"convert", path});
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_EQ(outcome.output, (folder / name).string() + "\n");
        const MovieProbe converted(folder / name);
        EXPECT_EQ(converted.tracks().size(), 3U);
        EXPECT_EQ(converted.tag("major_brand"), "isom");
        EXPECT_THAT(MovieProbe(folder / name).pictureTimes(),
                    testing::Pointwise(testing::DoubleNear(1e-6), MovieProbe(path).pictureTimes()));
    }
    EXPECT_EQ(contents().size(), 3U);
    EXPECT_EQ(contents().at("a.mov"), before.at("a.mov"));
}

TEST_F(MovieCommandTests, WhatCannotBeDoneIsOneSentenceAndHarmsNothing) {
    const std::string whole = bytesOf(movie("whole.mp4"));
    std::filesystem::create_directory(folder / "folder.mp4");
    const std::vector<std::filesystem::path> bad = {
        folder / "missing.mp4", folder / "folder.mp4", file("empty.mp4", ""),
        file("text.mp4", "This is no movie.\n"), file("cut.mp4", whole.substr(0, whole.size() / 2))};
    const auto before = contents();
    for (const std::string command : {"mix", "convert"}) {
        for (const auto& path : bad) {
            const Outcome outcome = run({command, path});
            EXPECT_EQ(outcome.status, 1) << command << " " << path;
            EXPECT_EQ(outcome.output, "");
            EXPECT_THAT(outcome.error, testing::StartsWith("lumicrate: “" + path.filename().string() + "” "));
            EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
        }
        Program full({command, folder / "whole.mp4"}, {}, {"prlimit", "--fsize=20000"});
        EXPECT_EQ(full.end().error, "lumicrate: The new file couldn't be written: File too large.\n");
        EXPECT_EQ(run({command}).status, 2);
        EXPECT_EQ(run({command, "a.mp4", "b.mp4"}).status, 2);
    }
    EXPECT_EQ(contents(), before);
}

TEST_F(MovieCommandTests, GivingUpLeavesNothing) {
    const auto path = movie("long.mov", "40");
    const auto before = contents();
    for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
        Program program({"mix", path});
        program.awaitWriting();
        program.process().signal(signal);
        const Outcome outcome = program.end();
        if (signal != SIGKILL) {
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.error, "lumicrate: It was cancelled.\n");
        }
        // Where every file has a name, one that was killed leaves it.
        if (signal == SIGKILL && !hasUnnamedFiles()) continue;
        EXPECT_EQ(contents(), before);
    }
}

}  // namespace
}  // namespace lumicrate::test
