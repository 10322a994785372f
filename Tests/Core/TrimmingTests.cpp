#include "Lumicrate/Preview/Trimming.h"
#include "Support/Error.h"
#include "Tests/Core/FakePlatform.h"

#include <gmock/gmock.h>

namespace lumicrate {
namespace {

using test::FakeFiles;
using testing::ElementsAre;
using testing::MatchesRegex;

using Preset = AVAssetExportPreset;

/// Makes the file that it is asked for, and then may fail.
class FakeAssets final : public AVAssets {
 public:
    explicit FakeAssets(FakeFiles& files) : files_(files) {}

    AVAssetSummary summary(const std::filesystem::path&) const override { return {10, Size{}, subtype, 1}; }
    void mixAudio(const std::filesystem::path&, const std::filesystem::path&, AVFileType,
                  const LongWork&) const override {}
    void exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                     AVFileType fileType, AVAssetExportPreset chosen, std::optional<CMTimeRange> part,
                     const LongWork&) const override {
        EXPECT_EQ(source.parent_path(), destination.parent_path());
        temporary = destination.filename();
        type = fileType;
        preset = chosen;
        range = part;
        files_.existing.insert(destination);
        if (fails) throw PlatformError("The disk is full.");
    }

    std::string subtype = "avc1";
    bool fails = false;
    mutable std::string temporary;
    mutable AVFileType type{};
    mutable Preset preset{};
    mutable std::optional<CMTimeRange> range;

 private:
    FakeFiles& files_;
};

class TrimmingTests : public testing::Test {
 protected:
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
    EXPECT_THAT(assets.temporary, MatchesRegex(R"(\.trim-[0-9A-F-]+\.mp4)"));
    EXPECT_EQ(assets.range->start, CMTime(1, 1));
    EXPECT_EQ(assets.range->end, CMTime(5, 2));
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
        assets.subtype = each.subtype;
        Trimming::Request wanted = request(each.name);
        wanted.precise = each.precise;
        trimming.save(wanted, {});
        EXPECT_EQ(assets.preset, each.preset) << each.name << each.subtype;
        EXPECT_EQ(assets.type, each.type) << each.name;
    }
}

TEST_F(TrimmingTests, LeavesNothingBesideTheRecordingWhenItFails) {
    files.existing = {"/movies/talk.mp4"};
    assets.fails = true;
    try {
        trimming.save(request(), {});
        ADD_FAILURE() << "it worked";
    } catch (const PlatformError&) {
        EXPECT_EQ(Trimming::message(std::current_exception()),
                  "Couldn't save the trimmed recording: The disk is full.");
    }
    EXPECT_THAT(files.existing, ElementsAre("/movies/talk.mp4"));

    // Given up when the file was just made.
    assets.fails = false;
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
        assets.fails = fails;
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
