// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that print what there is: sources, recordings and diagnose.
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <fstream>

namespace lumicrate::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class ListingTests : public ProgramTest {
 protected:
    ListingTests() : ProgramTest({.display = {640, 480, false, false}}) {
        std::ofstream(folder / "user-dirs.dirs") << "XDG_VIDEOS_DIR=\"" << folder.path().string() << "\"\n";
    }
    Outcome list(std::vector<std::string> options) const {
        options.insert(options.begin(), "recordings");
        const std::string here = folder.path();
        return run(options,
                   {{"HOME", here}, {"XDG_CONFIG_HOME", here}, {"XDG_STATE_HOME", here}, {"TZ", "XYZ-5:30"}});
    }
    /// Sets a modification time in seconds since 1970, which counts as the recording's date.
    void date(const std::string& name, int seconds) const {
        std::filesystem::last_write_time(
            recordings / name, std::chrono::file_clock::from_sys(
                                   std::chrono::system_clock::time_point(std::chrono::seconds(seconds))));
    }

    const std::filesystem::path recordings = folder / "Lumicrate";
};

TEST_F(ListingTests, SourcesListsWindowsWorthRecording) {
    const auto show = [](const TestWindow::Look& look) { return TestWindow(display(), look); };
    const TestWindow offered =
        show({.frame = {10, 20, 300, 200}, .managed = true, .title = "日本語 \x1b[31m\n\u009Bred"});
    const TestWindow small = show({.frame = {0, 0, 79, 60}, .managed = true, .title = "small"});
    const TestWindow untitled = show({.frame = {0, 0, 300, 200}, .managed = true});
    const TestWindow panel = show({.frame = {0, 0, 300, 200}, .title = "panel"});

    const auto listed = nlohmann::json::parse(run({"sources", "--json"}).output);
    EXPECT_EQ(listed["microphones"].size(), 1U);
    ASSERT_EQ(listed["windows"].size(), 1U);
    EXPECT_EQ(listed["windows"][0],
              nlohmann::json::parse(R"({"application": "listing-tests", "x": 10, "y": 20, "width": 300,
                                  "height": 200, "title": "日本語 \u001b[31m\n\u009bred", "id": )" +
                                    std::to_string(offered.id()) + "}"));
    const Outcome text = run({"sources"});
    EXPECT_EQ(text.status, 0);
    EXPECT_THAT(text.output, HasSubstr("  " + std::to_string(offered.id()) +
                                       "  listing-tests  “日本語  [31m  red”  300 × 200 at 10,20\n"));
    EXPECT_THAT(text.output, Not(HasSubstr("small")));
}

TEST_F(ListingTests, OnlyAWindowOnTheScreenCanBeRecorded) {
    // Too small to be listed, but not to be recorded.
    TestWindow window(display(), {.frame = {10, 20, 79, 60}, .managed = true});
    window.unmap();
    const std::string id = std::to_string(window.id());
    expectFailure(record({"--window", id}).end(), 1,
                  "There is no window " + id + " on the screen. “lumicrate sources” lists the windows.");
    window.map();
    recordToEnd({"--window", id, "--duration", "0.5"});
}

TEST_F(ListingTests, WithoutRecordingsThereAreNone) {
    for (const bool folderExists : {false, true}) {
        if (folderExists) std::filesystem::create_directory(recordings);
        EXPECT_EQ(list({}).output, "No recordings yet.\n");
        EXPECT_EQ(list({"--json"}).output, "[]\n");
        EXPECT_EQ(list({}).status, 0);
    }
    EXPECT_EQ(list({"all"}).status, 2);
    EXPECT_THAT(list({"--help"}).output, HasSubstr("Usage: lumicrate recordings [OPTIONS]\n"));
}

TEST_F(ListingTests, RecordingsAreListedNewestFirst) {
    std::filesystem::create_directory(recordings);
    stage::runProgram(
        {"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=64x64:d=65:r=1", recordings / "movie.mp4"});
    std::ofstream(recordings / "br\x1b[31moken\xff.mov") << "no movie";
    std::ofstream(recordings / "other.txt") << "no recording";
    date("movie.mp4", 86400);
    date("br\x1b[31moken\xff.mov", 90000);
    const auto size = std::filesystem::file_size(recordings / "movie.mp4");

    const Outcome text = list({});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.error, "");
    EXPECT_THAT(text.output, MatchesRegex("1970-01-02 06:30 +–      0 kB  br .31moken\xff.mov\n"
                                          "1970-01-02 05:30 +01:05 +[0-9]+ kB  movie.mp4\n"));
    const auto json = nlohmann::json::parse(list({"--json"}).output);
    ASSERT_EQ(json.size(), 2U);
    EXPECT_EQ(json[0]["created"], "1970-01-02T06:30:00+05:30");
    EXPECT_EQ(json[0]["duration"], nullptr);
    EXPECT_EQ(json[1], nlohmann::json({{"path", recordings / "movie.mp4"},
                                       {"created", "1970-01-02T05:30:00+05:30"},
                                       {"size", size},
                                       {"duration", 65.0}}));
}

TEST_F(ListingTests, PreferencesAreListedWithTheirTypes) {
    const auto all = nlohmann::json::parse(run({"settings", "--json"}).output);
    EXPECT_EQ(all["fps"], 30);
    EXPECT_EQ(all["showCursor"], true);
    EXPECT_EQ(all["format"], "mp4H264");
    EXPECT_EQ(run({"settings", "webcamWidth", "--json"}).output, "200\n");
    expectFailure(run({"settings", "afterSave", "mv 'x"}), 2, "“mv 'x” is not a valid value for afterSave");
}

TEST_F(ListingTests, DiagnosePrintsWhatIsThereAndNothingPrivate) {
    const TestWindow window(display(),
                            {.frame = {10, 20, 300, 200}, .managed = true, .title = "Secret plans"});
    const Outcome outcome = run({"diagnose"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    for (const char* line :
         {"^Lumicrate [0-9.]+, ", "\ncapture +X server: ", "\ncapture +extension MIT-SHM [0-9]",
          "\ncapture +scale ", "\ncapture +monitor screen",
          "\ncapture +640 × 480 pixels: first picture after [0-9]+ ms\n", "\ninput +all global shortcuts",
          "\naudio +1 microphones, 0 cameras, [1-9] sound outputs", "\nencoder +libx264 ",
          "\nencoder +libx265 ", "\nlibrary +recordings folder ~/Videos/Lumicrate .*file system ",
          "\nlibrary +O_TMPFILE: ", "\nlibrary +RENAME_NOREPLACE: ",
          "\ndesktop +org.freedesktop.portal.Desktop "})
        EXPECT_THAT(outcome.output, ContainsRegex(line));
    const auto listed = nlohmann::json::parse(run({"diagnose", "--json"}).output);
    EXPECT_EQ(listed[1]["topic"], "system");
    EXPECT_THAT(listed[1]["text"].get<std::string>(), HasSubstr(" processors"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("Secret")));
    EXPECT_THAT(outcome.output, Not(HasSubstr(desktop().session().home().string())));
}

TEST_F(ListingTests, DiagnoseNamesWhatIsMissing) {
    const Outcome outcome = run({"diagnose"}, {{"DISPLAY", ":4711"},
                                               {"XDG_RUNTIME_DIR", "/nonexistent"},
                                               {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
                                               {"DBUS_SESSION_BUS_ADDRESS", std::nullopt}});
    EXPECT_EQ(outcome.status, 0);
    for (const char* line :
         {"\ncapture +no display server can be reached\n", "\naudio +no sound server\n",
          "\nencoder +libx264 ", "\nlibrary +O_TMPFILE: ", "\ndesktop +no session bus can be reached\n"})
        EXPECT_THAT(outcome.output, ContainsRegex(line));
}

}  // namespace
}  // namespace lumicrate::test
