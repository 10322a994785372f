// SPDX-License-Identifier: GPL-3.0-or-later
// What is done with a finished recording: describing, renaming, deleting and trimming it.
#include "Lumicrate/Preview/RecordingFiles.h"
#include "Lumicrate/Preview/Trimming.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using Path = std::filesystem::path;

TEST(RecordingFilesTests, FactsAreOneLine) {
    const AVAssetSummary screen{65.9, Size{1920.9, 1080}, "avc1", 2};
    const AVAssetSummary sound{3725, std::nullopt, "", 1};
    EXPECT_EQ(describeRecording("/a/b.MP4", screen, 3'449'000), "1920 × 1080 · 01:05 · 3.4 MB · mp4");
    EXPECT_EQ(describeRecording("/a/b.m4a", sound, std::nullopt), "1:02:05 · m4a");
}

TEST(RecordingFilesTests, TypedNamesAreCleaned) {
    const std::pair<std::string, std::string> names[] = {
        {"a/b:c", "a-b-c"},
        {" \t\r\n", ""},
        {"\n a  b \v", "a  b"},
        {"\u3000会議\u2028\u00A0", "会議"},
        {"..", ".."},
        {"/", "-"},
        {"", ""},
        {std::string("a\0b", 3), "a-b"},
    };
    for (const auto& [typed, cleaned] : names)
        EXPECT_EQ(cleanedName(typed), cleaned) << typed;
}

TEST(RecordingFilesTests, AreRenamedAndMovedToTheTrash) {
    FakeFiles files;
    NotificationCenter notifications;
    int posted = 0;
    const Subscription observing =
        notifications.observe(recordingsChangedNotification, [&](const NotificationCenter::Object& object) {
            EXPECT_FALSE(object);
            ++posted;
        });
    const RecordingFiles operations(files, notifications);
    /// The error, or where the file is now.
    const auto outcome = [](const auto& operation) -> std::string {
        try {
            return operation().value_or("unchanged").string();
        } catch (const LocalizedError& error) {
            return error.what();
        }
    };
    const auto rename = [&](const char* url, const char* typed) {
        return outcome([&] { return operations.rename(url, typed); });
    };
    const auto trash = [&](const char* url) {
        return outcome([&] {
            operations.moveToTrash(url);
            return std::optional<Path>();
        });
    };
    files.existing = {"/v/a.b.MOV", "/v/taken.MOV"};
    for (const char* typed : {"a.b", " a.b\n", "", "  "})
        EXPECT_EQ(rename("/v/a.b.MOV", typed), "unchanged");
    EXPECT_EQ(rename("/v/a.b.MOV", " taken "), "There's already a recording called “taken”.");
    EXPECT_EQ(rename("/v/gone.mp4", "x"), "Couldn't rename the recording: There is no such file.");
    EXPECT_EQ(trash("/v/gone.mp4"), "Couldn't move the recording to the Trash: There is no such file.");
    EXPECT_EQ(posted, 0);
    EXPECT_EQ(rename("/v/a.b.MOV", "x/y.z "), "/v/x-y.z.MOV");
    EXPECT_EQ(posted, 1);
    EXPECT_THAT(files.existing, ElementsAre("/v/taken.MOV", "/v/x-y.z.MOV"));
    trash("/v/taken.MOV");
    trash("/v/x-y.z.MOV");
    EXPECT_EQ(posted, 3);
    EXPECT_THAT(files.existing, IsEmpty());
}

class TrimmingTests : public testing::Test {
 protected:
    TrimmingTests() {
        files.existing = {url};
        assets.summaries[url] = {10, Size{}, "avc1", 1};
    }

    const Path url = "/movies/talk.mp4";
    Trimming::Request request{url, {CMTime(1, 1), CMTime(5, 2)}};
    FakeFiles files;
    FakeAssets assets{files};
    Trimming trimming{assets, files};
};

TEST_F(TrimmingTests, CreatesACopyUnderAnUnusedNameOrReplacesTheRecording) {
    files.existing = {url, "/movies/talk_trimmed.mp4", "/movies/talk_trimmed_2.mp4"};
    EXPECT_EQ(trimming.save(request, {}), "/movies/talk_trimmed_3.mp4");
    EXPECT_THAT(files.existing, ElementsAre(url, "/movies/talk_trimmed.mp4", "/movies/talk_trimmed_2.mp4",
                                            "/movies/talk_trimmed_3.mp4"));
    EXPECT_THAT(assets.made.back().destination.string(), MatchesRegex(R"(/movies/\.trim-[0-9A-F-]+\.mp4)"));
    EXPECT_EQ(assets.ranges.back()->start, CMTime(1, 1));
    EXPECT_EQ(assets.ranges.back()->end, CMTime(5, 2));

    files.existing = {url};
    request.replacing = true;
    EXPECT_EQ(trimming.save(request, {}), url);
    EXPECT_THAT(files.existing, ElementsAre(url));
}

TEST_F(TrimmingTests, ChoosesPresetAndContainer) {
    using Preset = AVAssetExportPreset;
    const struct {
        const char* name;
        const char* subtype;
        bool precise;
        Preset preset;
        AVFileType type;
    } cases[] = {
        {"a.mp4", "avc1", false, Preset::passthrough, AVFileType::mpeg4},
        {"a.mp4", "avc1", true, Preset::highestQuality, AVFileType::mpeg4},
        {"a.MOV", "hvc1", true, Preset::hevcHighestQuality, AVFileType::quickTimeMovie},
        {"a.mov", "hev1", true, Preset::highestQuality, AVFileType::quickTimeMovie},
        {"a.mkv", "", true, Preset::highestQuality, AVFileType::mpeg4},
        {"a.M4A", "", true, Preset::passthrough, AVFileType::appleM4A},
    };
    for (const auto& each : cases) {
        request.url = Path("/movies") / each.name;
        assets.summaries[request.url] = {10, Size{}, each.subtype, 1};
        request.precise = each.precise;
        trimming.save(request, {});
        EXPECT_EQ(assets.made.back().preset, each.preset) << each.name << each.subtype;
        EXPECT_EQ(assets.made.back().type, each.type) << each.name;
    }
}

TEST_F(TrimmingTests, LeavesOnlyTheRecordingAfterAFailure) {
    assets.refusal = "The disk is full.";
    try {
        trimming.save(request, {});
        ADD_FAILURE() << "it worked";
    } catch (const PlatformError&) {
        EXPECT_EQ(Trimming::message(std::current_exception()),
                  "Couldn't save the trimmed recording: The disk is full.");
    }
    EXPECT_THAT(files.existing, ElementsAre(url));

    assets.refusal.clear();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(trimming.save(request, {nullptr, stop.get_token()}), CancelledError);
    // Cancelled when the export was complete.
    std::stop_source late;
    EXPECT_THROW(trimming.save(request, {[&](double part) {
                                             if (part == 0.5) late.request_stop();
                                         },
                                         late.get_token()}),
                 CancelledError);
    EXPECT_THAT(files.existing, ElementsAre(url));
}

}  // namespace
}  // namespace lumicrate::test
