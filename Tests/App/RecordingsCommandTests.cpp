// The command "recordings", as the program runs it.
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <fstream>

namespace lumicrate::test {
namespace {

using testing::MatchesRegex;

class RecordingsCommandTests : public testing::Test {
 protected:
    RecordingsCommandTests() {
        std::ofstream(home / "user-dirs.dirs") << "XDG_VIDEOS_DIR=\"" << home.path().string() << "\"\n";
    }
    Outcome list(std::vector<std::string> options) const {
        options.insert(options.begin(), "recordings");
        const std::string here = home.path();
        return run(options,
                   {{"HOME", here}, {"XDG_CONFIG_HOME", here}, {"XDG_STATE_HOME", here}, {"TZ", "XYZ-5:30"}});
    }
    /// Changed at a number of seconds since 1970, which counts as its creation.
    void date(const std::string& name, int seconds) const {
        std::filesystem::last_write_time(
            folder / name, std::chrono::file_clock::from_sys(
                               std::chrono::system_clock::time_point(std::chrono::seconds(seconds))));
    }

    TemporaryFolder home;
    std::filesystem::path folder = home / "Lumicrate";
};

TEST_F(RecordingsCommandTests, WithoutRecordingsThereAreNone) {
    for (const bool made : {false, true}) {
        if (made) std::filesystem::create_directory(folder);
        EXPECT_EQ(list({}).output, "No recordings yet.\n");
        EXPECT_EQ(list({"--json"}).output, "[]\n");
        EXPECT_EQ(list({}).status, 0);
    }
}

TEST_F(RecordingsCommandTests, ListsTheNewestFirst) {
    std::filesystem::create_directory(folder);
    stage::runProgram(
        {"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=64x64:d=65:r=1", folder / "movie.mp4"});
    std::ofstream(folder / "br\x1b[31moken\xff.mov") << "no movie";
    std::ofstream(folder / "other.txt") << "no recording";
    date("movie.mp4", 86400);
    date("br\x1b[31moken\xff.mov", 90000);
    const auto size = std::filesystem::file_size(folder / "movie.mp4");

    const Outcome text = list({});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.error, "");
    EXPECT_THAT(text.output, MatchesRegex("1970-01-02 06:30 +–      0 kB  br .31moken\xff.mov\n"
                                          "1970-01-02 05:30 +01:05 +[0-9]+ kB  movie.mp4\n"));
    const auto json = nlohmann::json::parse(list({"--json"}).output);
    ASSERT_EQ(json.size(), 2U);
    EXPECT_EQ(json[0]["created"], "1970-01-02T06:30:00+05:30");
    EXPECT_EQ(json[0]["duration"], nullptr);
    EXPECT_EQ(json[1], nlohmann::json({{"path", folder / "movie.mp4"},
                                       {"created", "1970-01-02T05:30:00+05:30"},
                                       {"size", size},
                                       {"duration", 65.0}}));
}

TEST_F(RecordingsCommandTests, TakesNothingElse) {
    EXPECT_EQ(list({"all"}).status, 2);
    EXPECT_EQ(list({"--help"}).status, 0);
}

}  // namespace
}  // namespace lumicrate::test
