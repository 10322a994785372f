#include "Lumicrate/Preview/Trimming.h"
#include "Support/Error.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

#include <gmock/gmock.h>

namespace lumicrate {
namespace {

using test::FakeAssets;
using test::FakeFiles;
using testing::ElementsAre;
using testing::MatchesRegex;

using Preset = AVAssetExportPreset;

class TrimmingTests : public testing::Test {
 protected:
    TrimmingTests() { assets.summaries["/movies/talk.mp4"] = {10, Size{}, "avc1", 1}; }
    Trimming::Request request(const std::string& name = "talk.mp4") const {
        Trimming::Request request;
        request.url = "/movies/" + name;
        request.range = {CMTime(1, 1), CMTime(5, 2)};
        return request;
    }

    FakeFiles files;
    FakeAssets assets{files};
    Trimming trimming{assets, files};
};

TEST_F(TrimmingTests, PutsANewCopyBesideTheRecording) {
    files.existing = {"/movies/talk.mp4", "/movies/talk_trimmed.mp4", "/movies/talk_trimmed_2.mp4"};
    EXPECT_EQ(trimming.save(request(), {}), "/movies/talk_trimmed_3.mp4");
    EXPECT_THAT(files.existing, ElementsAre("/movies/talk.mp4", "/movies/talk_trimmed.mp4",
                                            "/movies/talk_trimmed_2.mp4", "/movies/talk_trimmed_3.mp4"));
    EXPECT_THAT(assets.made.back().destination.string(), MatchesRegex(R"(/movies/\.trim-[0-9A-F-]+\.mp4)"));
    EXPECT_EQ(assets.ranges.back()->start, CMTime(1, 1));
    EXPECT_EQ(assets.ranges.back()->end, CMTime(5, 2));
}

TEST_F(TrimmingTests, TakesTheRecordingsPlace) {
    files.existing = {"/movies/talk.mp4"};
    Trimming::Request replacing = request();
    replacing.replacing = true;
    EXPECT_EQ(trimming.save(replacing, {}), "/movies/talk.mp4");
    EXPECT_THAT(files.existing, ElementsAre("/movies/talk.mp4"));
}

TEST_F(TrimmingTests, ChoosesPresetAndContainer) {
    struct Case {
        const char* name;
        const char* subtype;
        bool precise;
        Preset preset;
        AVFileType type;
    };
    const std::vector<Case> cases{
        {"a.mp4", "avc1", false, Preset::passthrough, AVFileType::mpeg4},
        {"a.mp4", "avc1", true, Preset::highestQuality, AVFileType::mpeg4},
        {"a.MOV", "hvc1", true, Preset::hevcHighestQuality, AVFileType::quickTimeMovie},
        {"a.mov", "hev1", true, Preset::highestQuality, AVFileType::quickTimeMovie},
        {"a.mkv", "", true, Preset::highestQuality, AVFileType::mpeg4},
        {"a.M4A", "", true, Preset::passthrough, AVFileType::appleM4A},
    };
    for (const Case& each : cases) {
        Trimming::Request wanted = request(each.name);
        assets.summaries[wanted.url] = {10, Size{}, each.subtype, 1};
        wanted.precise = each.precise;
        trimming.save(wanted, {});
        EXPECT_EQ(assets.made.back().preset, each.preset) << each.name << each.subtype;
        EXPECT_EQ(assets.made.back().type, each.type) << each.name;
    }
}

TEST_F(TrimmingTests, LeavesNothingBesideTheRecordingWhenItFails) {
    files.existing = {"/movies/talk.mp4"};
    assets.refusal = "The disk is full.";
    try {
        trimming.save(request(), {});
        ADD_FAILURE() << "it worked";
    } catch (const PlatformError&) {
        EXPECT_EQ(Trimming::message(std::current_exception()),
                  "Couldn't save the trimmed recording: The disk is full.");
    }
    EXPECT_THAT(files.existing, ElementsAre("/movies/talk.mp4"));

    // Given up when the file was just made.
    assets.refusal.clear();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(trimming.save(request(), {nullptr, stop.get_token()}), CancelledError);
    EXPECT_THAT(files.existing, ElementsAre("/movies/talk.mp4"));
}

Task<void> keep(Task<std::filesystem::path> task, std::filesystem::path& saved, std::string& error) {
    try {
        saved = co_await std::move(task);
    } catch (const std::exception&) {
        error = Trimming::message(std::current_exception());
    }
}

TEST_F(TrimmingTests, TellsOfTheChangeOnceItIsDone) {
    test::VirtualExecutor executor;
    test::VirtualQueue queue(executor);
    NotificationCenter center;
    int told = 0;
    const Subscription subscription =
        center.observe(recordingsChangedNotification, [&](const auto&) { ++told; });
    for (const bool fails : {false, true}) {
        assets.refusal = fails ? "The disk is full." : "";
        told = 0;
        std::filesystem::path saved;
        std::string error;
        const RunningTask task(
            executor, keep(saveInBackground(executor, queue, trimming, center, request(), {}), saved, error));
        EXPECT_EQ(told, 0);
        executor.drain();
        EXPECT_FALSE(task.isRunning());
        EXPECT_EQ(told, fails ? 0 : 1);
        EXPECT_EQ(saved, fails ? "" : "/movies/talk_trimmed.mp4");
        EXPECT_EQ(error.empty(), !fails);
    }
}

}  // namespace
}  // namespace lumicrate
