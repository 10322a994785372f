// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Movie/AudioMixdown.h"
#include "Lumicrate/Movie/MovieConversion.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"
#include "Tests/Support/VirtualExecutor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr const char* uuid = "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";

class FinishedMovieTests : public testing::Test {
 protected:
    FinishedMovieTests() {
        for (const char* name : {"/m/a.mov", "/m/b.m4a", "/m/c.MP4"}) {
            files.existing.insert(name);
            assets.summaries[name] = {10, std::nullopt, "", 2};
        }
    }
    /// The error message of `work`; empty after success.
    template <class Work>
    static std::string outcome(const Work& work) {
        try {
            work();
        } catch (const LocalizedError& error) {
            return error.what();
        }
        return "";
    }

    FakeFiles files;
    FakeAssets assets{files};
};

TEST_F(FinishedMovieTests, NamesDerivedFiles) {
    files.existing = {"/m/a.b.mp4", "/m/a.b_2.mp4", "/m/c"};
    EXPECT_EQ(uniqueURL(files, "/m/a.b.mp4"), "/m/a.b_3.mp4");
    EXPECT_EQ(uniqueURL(files, "/m/c"), "/m/c_2");
    EXPECT_THAT(temporaryURL("/m/a.b.mov", "mix").string(),
                MatchesRegex("/m/\\.mix-" + std::string(uuid) + "\\.mov"));
    EXPECT_NE(newUUID(), newUUID());
    EXPECT_EQ(fileTypeOf("/m/A.MOV"), AVFileType::quickTimeMovie);
    EXPECT_EQ(fileTypeOf("/m/a.m4v"), AVFileType::mpeg4);
}

TEST_F(FinishedMovieTests, TracksAreMixedInPlace) {
    for (const auto& [url, type] :
         {std::pair<std::string, AVFileType>{"/m/a.mov", AVFileType::quickTimeMovie},
          {"/m/b.m4a", AVFileType::appleM4A},
          {"/m/c.MP4", AVFileType::mpeg4}}) {
        assets.made.clear();
        const auto before = files.existing;
        EXPECT_TRUE(AudioMixdown::mixIfNeeded(assets, files, url, {}));
        ASSERT_EQ(assets.made.size(), 1U);
        EXPECT_EQ(assets.made[0].source, url);
        EXPECT_EQ(assets.made[0].type, type);
        EXPECT_THAT(assets.made[0].destination.string(), MatchesRegex("/m/\\.mix-.*\\.(mov|m4a|MP4)"));
        EXPECT_EQ(files.existing, before) << "the temporary file has taken its place";
    }
    assets.summaries["/m/a.mov"].audioTracks = 1;
    assets.made.clear();
    EXPECT_FALSE(AudioMixdown::mixIfNeeded(assets, files, "/m/a.mov", {}));
    EXPECT_THAT(assets.made, IsEmpty());
}

TEST_F(FinishedMovieTests, AFailureLeavesTheRecordingAndNothingElse) {
    const auto before = files.existing;
    std::stop_source stop;
    stop.request_stop();
    const auto fails = [&](const std::string& why, const LongWork& work = {}) {
        const auto mix = [&] { AudioMixdown::mixIfNeeded(assets, files, "/m/a.mov", work); };
        const auto convert = [&] { convertToMP4(assets, files, "/m/a.mov", work); };
        EXPECT_EQ(outcome(mix), why);
        EXPECT_EQ(outcome(convert), why);
        EXPECT_EQ(files.existing, before) << why;
    };
    fails("It was cancelled.", {nullptr, stop.get_token()});
    files.locked = true;
    fails("The folder is locked.");
    assets.refusal = "The disk is full.";
    fails("The disk is full.");
    EXPECT_EQ(outcome([&] { AudioMixdown::mixIfNeeded(assets, files, "/m/none.mov", {}); }),
              "That is no movie.");
}

TEST_F(FinishedMovieTests, MixingNeedsRoomForASecondFile) {
    constexpr std::uintmax_t MiB = 1024 * 1024;
    files.entries = {{"/m/a.mov", std::nullopt, 100 * MiB}};
    const auto mix = [&] { AudioMixdown::mixIfNeeded(assets, files, "/m/a.mov", {}); };
    for (const std::uintmax_t available : {4 * MiB, 107 * MiB}) {
        files.capacity = NSVolumeCapacity{available, 200 * MiB};
        EXPECT_EQ(outcome(mix), "There is no room on the disk to mix the audio tracks; they stay apart.");
    }
    EXPECT_THAT(assets.made, IsEmpty());
    files.capacity->available = 108 * MiB;
    EXPECT_EQ(outcome(mix), "");
    EXPECT_EQ(assets.made.size(), 1U);
}

TEST_F(FinishedMovieTests, AConvertedMovieGetsAFreeName) {
    files.existing.insert("/m/a.mp4");
    EXPECT_EQ(copyAsMP4(assets, files, "/m/a.mov", {}), "/m/a_2.mp4");
    EXPECT_TRUE(files.existing.contains("/m/a.mov"));
    EXPECT_EQ(assets.made[0].type, AVFileType::mpeg4);
    EXPECT_EQ(assets.made[0].preset, AVAssetExportPreset::passthrough);
    EXPECT_EQ(assets.ranges[0].has_value(), false);
    EXPECT_EQ(convertToMP4(assets, files, "/m/a.mov", {}), "/m/a_3.mp4");
    EXPECT_FALSE(files.existing.contains("/m/a.mov"));
}

TEST_F(FinishedMovieTests, ReportsProgressAndOutcome) {
    VirtualExecutor executor;
    AudioMixdown mixdown(
        executor, [&executor](const std::string&) { return std::make_unique<VirtualQueue>(executor); },
        assets, files);
    std::vector<std::string> log;
    const auto mix = [&](std::filesystem::path url) -> Task<void> {
        try {
            log.emplace_back(co_await mixdown.mixIfNeeded(std::move(url)) ? "mixed" : "as it was");
        } catch (const LocalizedError& error) {
            log.emplace_back(error.what());
        }
    };
    std::vector<std::optional<double>> parts;
    const Subscription watching =
        mixdown.progress().observe([&parts](const auto& part) { parts.push_back(part); });
    for (const char* url : {"/m/a.mov", "/m/none.mov"}) {
        const RunningTask task(executor, mix(url));
        executor.drain();
    }
    EXPECT_THAT(log, ElementsAre("mixed", "That is no movie. It is kept with its tracks apart: /m/none.mov"));
    EXPECT_THAT(parts, ElementsAre(0.5, std::nullopt, std::nullopt));
}

}  // namespace
}  // namespace lumicrate::test
