// Windows as the command line names them.
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace lumicrate::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class SourcesTests : public testing::Test {
 protected:
    Outcome runHere(std::vector<std::string> arguments) const {
        return run(std::move(arguments),
                   {{"DISPLAY", server.displayName()}, {"XDG_RUNTIME_DIR", folder.path()}});
    }
    TestWindow show(const TestWindow::Look& look) const { return {server.displayName(), look}; }
    Outcome record(const std::string& window) const {
        return runHere(recordArguments(folder / "movie.mp4", {"--window", window, "--duration", "0.5"}));
    }

    TemporaryFolder folder;
    stage::Xvfb server{{.width = 640, .height = 480}};
};

TEST_F(SourcesTests, WindowsAreListedThatAreWorthRecording) {
    const TestWindow offered =
        show({.frame = {10, 20, 300, 200}, .managed = true, .title = "日本語 \x1b[31m\n\u009Bred"});
    const TestWindow small = show({.frame = {0, 0, 79, 60}, .managed = true, .title = "small"});
    const TestWindow untitled = show({.frame = {0, 0, 300, 200}, .managed = true});
    const TestWindow panel = show({.frame = {0, 0, 300, 200}, .title = "panel"});

    const auto listed = nlohmann::json::parse(runHere({"sources", "--json"}).output);
    ASSERT_EQ(listed["windows"].size(), 1U);
    EXPECT_EQ(listed["windows"][0],
              nlohmann::json::parse(R"({"application": "sources-tests", "x": 10, "y": 20,
              "width": 300, "height": 200, "title": "日本語 \u001b[31m\n\u009bred", "id": )" +
                                    std::to_string(offered.id()) + "}"));
    const Outcome text = runHere({"sources"});
    EXPECT_EQ(text.status, 0);
    EXPECT_THAT(text.output, HasSubstr("  " + std::to_string(offered.id()) +
                                       "  sources-tests  “日本語  [31m  red”  300 × 200 at 10,20\n"));
    EXPECT_THAT(text.output, Not(HasSubstr("small")));
}

TEST_F(SourcesTests, OnlyAWindowOnTheScreenCanBeRecorded) {
    TestWindow window = show({.frame = {10, 20, 79, 60}, .managed = true});
    window.unmap();
    const Outcome gone = record(std::to_string(window.id()));
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.error, "lumicrate: There is no window " + std::to_string(window.id()) +
                              " on the screen. “lumicrate sources” lists the windows.\n");
    // Also one that is not offered.
    window.map();
    const Outcome recorded = record(std::to_string(window.id()));
    EXPECT_EQ(recorded.status, 0) << recorded.error;
}

}  // namespace
}  // namespace lumicrate::test
