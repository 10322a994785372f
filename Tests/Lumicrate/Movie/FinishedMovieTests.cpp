// SPDX-License-Identifier: GPL-3.0-or-later
// What is made of a finished recording: names, one audio track, MP4, a trimmed copy.
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Movie/AudioMixdown.h"
#include "Lumicrate/Movie/MovieConversion.h"
#include "Lumicrate/Movie/SoundFinishing.h"
#include "Lumicrate/Movie/VoiceCleaning.h"
#include "Lumicrate/Preview/RecordingFiles.h"
#include "Lumicrate/Preview/Trimming.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

namespace lumicrate::test {
namespace {

using testing::MatchesRegex;

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
    bool mix(const Path& url, const LongWork& work = {}) {
        return AudioMixdown::mixIfNeeded(assets, files, url, work);
    }

    FakeFiles files;
    FakeAssets assets{files};
    Trimming trimming{assets, files};
    Trimming::Request request{"/m/a.mov", {CMTime(1, 1), CMTime(5, 2)}};
};

TEST_F(FinishedMovieTests, NamesDerivedFiles) {
    files.existing = {"/m/a.b.mp4", "/m/a.b_2.mp4", "/m/c"};
    EXPECT_EQ(uniqueURL(files, "/m/a.b.mp4"), "/m/a.b_3.mp4");
    EXPECT_EQ(uniqueURL(files, "/m/c"), "/m/c_2");
    const std::string uuid = "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";
    EXPECT_THAT(temporaryURL("/m/a.b.mov", "mix").string(), MatchesRegex("/m/\\.mix-" + uuid + "\\.mov"));
    EXPECT_NE(newUUID(), newUUID());
}

TEST_F(FinishedMovieTests, FactsAreOneLine) {
    EXPECT_EQ(describeRecording("/a/b.MP4", {65.9, Size{1920.9, 1080}, "avc1", 2}, 3'449'000),
              "1920 × 1080 · 01:05 · 3.4 MB · mp4");
    EXPECT_EQ(describeRecording("/a/b.m4a", {3725, std::nullopt, "", 1}, std::nullopt), "1:02:05 · m4a");
}

TEST_F(FinishedMovieTests, TypedNamesAreCleaned) {
    const std::pair<std::string, std::string> names[] = {{"a/b:c", "a-b-c"},
                                                         {" \t\r\n", ""},
                                                         {"\n a  b \v", "a  b"},
                                                         {"\u3000会議\u2028\u00A0", "会議"},
                                                         {"..", ".."},
                                                         {"/", "-"},
                                                         {"", ""},
                                                         {std::string("a\0b", 3), "a-b"}};
    for (const auto& [typed, cleaned] : names)
        EXPECT_EQ(cleanedName(typed), cleaned) << typed;
}

TEST_F(FinishedMovieTests, TracksAreMixedInPlace) {
    for (const auto& [url, type] :
         {std::pair<std::string, AVFileType>{"/m/a.mov", AVFileType::quickTimeMovie},
          {"/m/b.m4a", AVFileType::appleM4A},
          {"/m/c.MP4", AVFileType::mpeg4}}) {
        assets.made.clear();
        const auto before = files.existing;
        EXPECT_TRUE(mix(url));
        ASSERT_EQ(assets.made.size(), 1U);
        EXPECT_EQ(assets.made[0].source, url);
        EXPECT_EQ(assets.made[0].type, type);
        EXPECT_THAT(assets.made[0].destination.string(), MatchesRegex("/m/\\.mix-.*\\.(mov|m4a|MP4)"));
        EXPECT_EQ(files.existing, before) << "the temporary file has taken its place";
    }
    assets.summaries["/m/a.mov"].audioTracks = 1;
    assets.made.clear();
    EXPECT_FALSE(mix("/m/a.mov"));
    EXPECT_THAT(assets.made, IsEmpty());
}

TEST_F(FinishedMovieTests, AFailureLeavesTheRecordingAndNothingElse) {
    const auto before = files.existing;
    const auto expectFailure = [&](const std::string& why, const LongWork& work = {}) {
        EXPECT_EQ(outcome([&] { mix("/m/a.mov", work); }), why);
        EXPECT_EQ(outcome([&] { convertToMP4(assets, files, "/m/a.mov", work); }), why);
        EXPECT_EQ(outcome([&] { trimming.save(request, work); }), why);
        EXPECT_EQ(files.existing, before) << why;
    };
    std::stop_source early;
    early.request_stop();
    expectFailure("It was cancelled.", {nullptr, early.get_token()});
    // Cancelled when the export was complete.
    std::stop_source late;
    const LongWork cancelled{[&](double part) {
                                 if (part == 0.5) late.request_stop();
                             },
                             late.get_token()};
    EXPECT_EQ(outcome([&] { trimming.save(request, cancelled); }), "It was cancelled.");
    files.locked = true;
    expectFailure("The folder is locked.");
    assets.refusal = "The disk is full.";
    expectFailure("The disk is full.");
    EXPECT_EQ(outcome([&] { mix("/m/none.mov"); }), "That is no movie.");
    EXPECT_EQ(Trimming::message(failure("It is broken.")),
              "Couldn't save the trimmed recording: It is broken.");
}

TEST_F(FinishedMovieTests, MixingNeedsRoomForASecondFile) {
    constexpr std::uintmax_t MiB = 1024 * 1024;
    files.entries = {{"/m/a.mov", std::nullopt, 100 * MiB}};
    for (const std::uintmax_t available : {4 * MiB, 107 * MiB, 108 * MiB}) {
        files.capacity = NSVolumeCapacity{available, 200 * MiB};
        const bool fits = available == 108 * MiB;
        EXPECT_EQ(outcome([&] { mix("/m/a.mov"); }),
                  fits ? "" : "There is no room on the disk to mix the audio tracks; they stay apart.");
        EXPECT_EQ(assets.made.size(), fits ? 1U : 0U);
    }
}

TEST_F(FinishedMovieTests, AVoiceIsCleanedOnceAndNeedsRoom) {
    for (const auto& [voice, sentence] :
         {std::pair<AVVoice, std::string>{AVVoice::none, "The recording has no microphone track."},
          {AVVoice::clean, "The voice in this recording is already clean."},
          {AVVoice::asRecorded, ""}}) {
        assets.made.clear();
        assets.voices["/m/a.mov"] = voice;
        const auto before = files.existing;
        EXPECT_EQ(outcome([&] { VoiceCleaning::clean(assets, files, "/m/a.mov", true, {}); }), sentence);
        EXPECT_EQ(files.existing, before) << "the temporary file has taken its place";
        EXPECT_EQ(outcome([&] { VoiceCleaning::saveCleaned(assets, "/m/a.mov", "/m/new.mp4", false, {}); }),
                  sentence);
        EXPECT_EQ(files.existing.erase("/m/new.mp4"), assets.made.size() / 2);
    }
    EXPECT_EQ(assets.made[0].type, AVFileType::quickTimeMovie);
    EXPECT_EQ(assets.made[1].type, AVFileType::mpeg4);
    files.capacity = NSVolumeCapacity{0, 1};
    EXPECT_EQ(outcome([&] { VoiceCleaning::clean(assets, files, "/m/a.mov", true, {}); }),
              "There is no room on the disk to clean the voice.");
}

TEST_F(FinishedMovieTests, SoundIsCleanedThenMixedAndAFailureKeepsTheTracks) {
    VirtualExecutor executor;
    SoundFinisher finisher(
        executor, [&executor](const std::string&) { return std::make_unique<VirtualQueue>(executor); },
        assets, files);
    std::vector<std::string> sentences;
    const auto run = [&](Path url, SoundWishes wishes) -> Task<void> {
        try {
            Task<std::vector<std::string>> finishing = finisher.finish(std::move(url), wishes);
            sentences = co_await finishing;
        } catch (const LocalizedError& error) {
            sentences = {"thrown", error.what()};
        }
    };
    std::vector<std::optional<double>> parts;
    const Subscription watching =
        finisher.progress().observe([&parts](const auto& part) { parts.push_back(part); });
    using Strings = std::vector<std::string>;
    using Parts = std::vector<std::optional<double>>;
    const auto none = std::nullopt;
    const SoundWishes clean{true, false, false};
    const SoundWishes all{true, true, true};
    const SoundWishes mix{false, false, true};
    assets.voices["/m/b.m4a"] = assets.voices["/m/c.MP4"] = AVVoice::asRecorded;
    const struct {
        Path url;
        SoundWishes wishes;
        Strings steps, sentences;
        Parts parts;
        std::string cleaningRefusal = "";
        NSVolumeCapacity volume{1'000'000'000, 1'000'000'000};
    } cases[] = {
        {"/m/b.m4a", all, {"normalize", "mix"}, {}, {0.25, 0.75, none}},
        {"/m/b.m4a", clean, {"clean"}, {}, {0.5, none}},
        {"/m/a.mov", all, {"mix"}, {}, {0.75, none}},
        {"/m/none.mov",
         mix,
         {},
         {"thrown", "That is no movie. It is kept with its tracks apart: /m/none.mov"},
         {none}},
        {"/m/c.MP4",
         all,
         {"normalize"},
         {"The voice couldn't be cleaned, and the recording is kept as it was made: It is broken."},
         {none},
         "It is broken."},
        {"/m/c.MP4", all, {}, {"There is no room on the disk to clean the voice."}, {none}, "", {0, 1}},
        {"/m/a.mov", all, {}, {NoRoomToMix().what()}, {none}, "", {0, 1}},
    };
    for (const auto& each : cases) {
        assets.steps.clear();
        parts.clear();
        assets.cleaningRefusal = each.cleaningRefusal;
        files.capacity = each.volume;
        const RunningTask task(executor, run(each.url, each.wishes));
        executor.drain();
        EXPECT_EQ(assets.steps, each.steps);
        EXPECT_EQ(sentences, each.sentences);
        EXPECT_EQ(parts, each.parts);
    }
}

TEST_F(FinishedMovieTests, ACopyAsMP4GetsAFreeName) {
    files.existing.insert("/m/a.mp4");
    EXPECT_EQ(copyAsMP4(assets, files, "/m/a.mov", {}), "/m/a_2.mp4");
    EXPECT_EQ(assets.made[0].type, AVFileType::mpeg4);
    EXPECT_EQ(assets.made[0].preset, AVAssetExportPreset::passthrough);
    EXPECT_FALSE(assets.made[0].range);
    EXPECT_EQ(convertToMP4(assets, files, "/m/a.mov", {}), "/m/a_3.mp4");
    EXPECT_FALSE(files.existing.contains("/m/a.mov"));
}

TEST_F(FinishedMovieTests, ATrimmedCopyGetsAFreeNameOrReplacesTheRecording) {
    files.existing = {"/m/a.mov", "/m/a_trimmed.mov", "/m/a_trimmed_2.mov"};
    EXPECT_EQ(trimming.save(request, {}), "/m/a_trimmed_3.mov");
    EXPECT_THAT(files.existing,
                ElementsAre("/m/a.mov", "/m/a_trimmed.mov", "/m/a_trimmed_2.mov", "/m/a_trimmed_3.mov"));
    EXPECT_THAT(assets.made[0].destination.string(), MatchesRegex(R"(/m/\.trim-[0-9A-F-]+\.mov)"));
    EXPECT_EQ(assets.made[0].range->start, CMTime(1, 1));
    EXPECT_EQ(assets.made[0].range->end, CMTime(5, 2));

    files.existing = {"/m/a.mov"};
    request.replacing = true;
    EXPECT_EQ(trimming.save(request, {}), "/m/a.mov");
    EXPECT_THAT(files.existing, ElementsAre("/m/a.mov"));
}

TEST_F(FinishedMovieTests, TrimmingChoosesPresetAndContainer) {
    using Preset = AVAssetExportPreset;
    const struct {
        const char* name;
        const char* subtype;
        bool precise;
        Preset preset;
        AVFileType type;
    } cases[] = {{"a.mp4", "avc1", false, Preset::passthrough, AVFileType::mpeg4},
                 {"a.mp4", "avc1", true, Preset::highestQuality, AVFileType::mpeg4},
                 {"a.MOV", "hvc1", true, Preset::hevcHighestQuality, AVFileType::quickTimeMovie},
                 {"a.mov", "hev1", true, Preset::highestQuality, AVFileType::quickTimeMovie},
                 {"a.mkv", "", true, Preset::highestQuality, AVFileType::mpeg4},
                 {"a.M4A", "", true, Preset::passthrough, AVFileType::appleM4A}};
    for (const auto& each : cases) {
        request.url = Path("/m") / each.name;
        assets.summaries[request.url] = {10, Size{}, each.subtype, 1};
        request.precise = each.precise;
        trimming.save(request, {});
        EXPECT_EQ(assets.made.back().preset, each.preset) << each.name << each.subtype;
        EXPECT_EQ(assets.made.back().type, each.type) << each.name;
    }
}

}  // namespace
}  // namespace lumicrate::test
