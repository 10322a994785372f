// The command "trim": the real program, judged by what it says and the files that it leaves.

#include "App/CommandLine/TrimCommand.h"
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <set>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testing::UnorderedElementsAre;

TEST(TrimTimeTests, ReadsSecondsAndClockTimes) {
    const auto seconds = [](const char* text) {
        const auto time = app::parseTime(text);
        return time ? time->seconds() : -1;
    };
    EXPECT_EQ(seconds("0"), 0);
    EXPECT_EQ(seconds("75"), 75);
    EXPECT_EQ(seconds("1.5"), 1.5);
    EXPECT_EQ(seconds("5."), 5);
    EXPECT_EQ(seconds("1:05.25"), 65.25);
    EXPECT_EQ(seconds("90:00"), 5400);
    EXPECT_EQ(seconds("1:02:03.000001"), 3723.000001);
    EXPECT_EQ(app::parseTime("0.1234567"), CMTime(123456, 1000000));
    for (const char* text : {"", ".", "-1", "+1", "1e3", "1:60", "1:2:3:4", ":5", "1:", "5s", "0x1", "1.5.2",
                             "inf", "99999999999", "1.-5", " 1"})
        EXPECT_EQ(app::parseTime(text), std::nullopt) << text;
}

class TrimCommandTests : public testing::Test {
 protected:
    void SetUp() override {
        stage::runProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=320x180:r=30:d=6", "-f",
                           "lavfi", "-i", "sine=d=6", "-c:v", "libx264", "-g", "60", "-c:a", "aac", movie});
        original = bytesOf(movie);
    }
    static std::string bytesOf(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& each : std::filesystem::directory_iterator(folder.path()))
            all.insert(each.path().filename());
        return all;
    }
    Outcome trim(std::vector<std::string> more) const {
        more.insert(more.begin(), {"trim", movie});
        return run(std::move(more));
    }

    TemporaryFolder folder;
    std::filesystem::path movie = folder / "talk.mp4";
    std::string original;
};

TEST_F(TrimCommandTests, SavesCopiesAndPrintsWhere) {
    const Outcome first = trim({"--from", "1.5", "--to", "0:04"});
    EXPECT_EQ(first.status, 0) << first.error;
    EXPECT_EQ(first.file(), folder / "talk_trimmed.mp4");
    EXPECT_NEAR(stage::MovieProbe(first.file()).duration(), 2.5, 0.01);
    const Outcome second = trim({"--from", "5", "--precise"});
    EXPECT_EQ(second.file(), folder / "talk_trimmed_2.mp4");
    EXPECT_NEAR(stage::MovieProbe(second.file()).duration(), 1, 0.03);
    EXPECT_THAT(names(), UnorderedElementsAre("talk.mp4", "talk_trimmed.mp4", "talk_trimmed_2.mp4"));
    EXPECT_EQ(bytesOf(movie), original);
}

TEST_F(TrimCommandTests, ReplacesTheRecordingOnRequest) {
    const Outcome outcome = trim({"--to", "2", "--replace"});
    EXPECT_EQ(outcome.file(), movie) << outcome.error;
    EXPECT_NEAR(stage::MovieProbe(movie).duration(), 2, 0.01);
    EXPECT_THAT(names(), ElementsAre("talk.mp4"));
}

TEST_F(TrimCommandTests, SaysWhatIsWrongInOneSentence) {
    struct Case {
        std::vector<std::string> arguments;
        int status;
        const char* sentence;
    };
    const std::vector<Case> cases{
        {{"--from", "4", "--to", "3"}, 1, "The range is empty."},
        {{"--from", "3", "--to", "3"}, 1, "The range is empty."},
        {{"--from", "7"}, 1, "outside the recording"},
        {{"--from", "7", "--to", "8", "--precise"}, 1, "outside the recording"},
        {{"--from", "-1"}, 2, "“-1” is not a time."},
        {{"--to", "soon"}, 2, "“soon” is not a time."},
        {{"another.mp4"}, 2, "Give one file."},
        {{"--fast"}, 2, "Unknown option “--fast”."},
    };
    for (const Case& each : cases) {
        const Outcome outcome = trim(each.arguments);
        EXPECT_EQ(outcome.status, each.status) << each.sentence;
        EXPECT_THAT(outcome.error, HasSubstr(each.sentence));
        EXPECT_THAT(outcome.error, StartsWith("lumicrate: "));
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
        EXPECT_EQ(outcome.output, "");
    }
    EXPECT_THAT(names(), ElementsAre("talk.mp4"));
    EXPECT_EQ(bytesOf(movie), original);
}

TEST_F(TrimCommandTests, AnInterruptionLeavesNothing) {
    // Long enough to be hit while it is encoded.
    stage::runProgram(
        {"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=s=640x360:r=30:d=60", "-c:v",
         "libx264", "-preset", "ultrafast", "-bf", "2", "-x264-params", "scenecut=0", movie},
        {}, 120);
    Program program({"trim", movie, "--from", "0.5", "--precise"});
    program.awaitWriting();
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "lumicrate: Couldn't save the trimmed recording: It was cancelled.\n");
    EXPECT_THAT(names(), ElementsAre("talk.mp4"));
}

}  // namespace
}  // namespace lumicrate::test
