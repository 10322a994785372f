// SPDX-License-Identifier: GPL-3.0-or-later
// Assets: ranges of movies, checked picture by picture and sample by sample; and summaries of movies that
// another program writes in its various ways, and of other files. MovieSummaryTests has our own.

#include "Linux/Media/Editing/Assets.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/CountedMovie.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <sstream>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;
using testing::HasSubstr;
using testing::IsEmpty;
using Preset = AVAssetExportPreset;

class TrimTests : public testing::Test {
 protected:
    static CMTimeRange range(double from, double to) {
        return {{ticks(from), test::clock}, {ticks(to), test::clock}};
    }
    CountedMovie make(const CountedRecipe& recipe) {
        return {folder / ("movie" + std::to_string(++count_)), recipe};
    }
    CountedMovie make(double seconds) { return make({.seconds = seconds}); }
    /// A new file with that range.
    std::filesystem::path cut(const std::filesystem::path& source, double from, double to, Preset preset,
                              AVFileType type = AVFileType::mpeg4) {
        const std::filesystem::path path = folder / ("cut" + std::to_string(++count_));
        Assets().exportMovie(source, path, type, preset, range(from, to), {});
        return path;
    }
    /// The error of an export that fails and must leave nothing.
    std::string failure(const std::filesystem::path& source, double from, double to,
                        Preset preset = Preset::passthrough, const LongWork& work = {}) const {
        const std::filesystem::path path = folder / "failing";
        try {
            Assets().exportMovie(source, path, AVFileType::mpeg4, preset, range(from, to), work);
        } catch (const LocalizedError& error) {
            EXPECT_FALSE(std::filesystem::exists(path));
            return error.what();
        }
        std::filesystem::remove(path);
        return "no error";
    }

    TemporaryFolder folder;

 private:
    int count_ = 0;
};

/// The bytes of each coded picture; the numbers of the key pictures are added to `keys`.
std::vector<std::string> codedPictures(const std::filesystem::path& path, std::vector<std::size_t>& keys) {
    std::vector<std::string> pictures;
    for (const stage::Packet& each : MovieProbe(path).packets(0)) {
        if (each.isKey) keys.push_back(pictures.size());
        pictures.push_back(each.bytes);
    }
    return pictures;
}

/// Random ranges that begin and end on ticks.
std::vector<std::pair<double, double>> someRanges(int count, double seconds) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> places(0, seconds);
    const auto place = [&] { return static_cast<double>(ticks(places(random))) / test::clock; };
    std::vector<std::pair<double, double>> ranges;
    for (int i = 0; i < count; ++i)
        ranges.push_back(std::minmax({place(), place()}));
    return ranges;
}

/// The idr_pic_id of each key picture of an H.264 movie, as ffmpeg reads it.
std::vector<std::string> idrIds(const std::filesystem::path& path) {
    std::istringstream trace(stage::runToEnd({"ffmpeg", "-i", path, "-map", "0:v", "-c", "copy", "-bsf:v",
                                              "trace_headers", "-f", "null", "-"})
                                 .error);
    std::vector<std::string> ids;
    for (std::string line; std::getline(trace, line);) {
        if (line.find("idr_pic_id") != std::string::npos) ids.push_back(line.substr(line.rfind('=')));
    }
    return ids;
}

struct Trial {
    AVVideoCodecType codec;
    Preset preset;
};

class RangeTests : public TrimTests, public testing::WithParamInterface<Trial> {
 protected:
    static CountedRecipe recipe(double seconds, std::vector<int> channels, int bitRate = 1'000'000) {
        return {GetParam().codec, AVFileType::mpeg4, bitRate, seconds, true, std::move(channels), 0};
    }
};

TEST_P(RangeTests, PresentTheRangeAndNothingElse) {
    CountedRecipe withInput = recipe(20, {2, 1});
    withInput.input = true;
    const CountedMovie movie = make(withInput);
    const Presented original(movie.path);
    expectSamePictures(movie.pictures, original.pictures);
    for (const auto& [from, to] : someRanges(10, 20)) {
        SCOPED_TRACE(testing::Message() << from << " to " << to);
        const auto path = cut(movie.path, from, to, GetParam().preset);
        expectPart(original, path, from, to);
        expectInput(path, withInput.seconds, from, to);
        if (HasFailure()) break;
    }
    EXPECT_THAT(stage::complaintsAbout(cut(movie.path, 1.5, 7, GetParam().preset)), IsEmpty());
}

TEST_P(RangeTests, CopyWhatNeedNotBeEncoded) {
    const CountedMovie movie = make(recipe(12, {}));
    std::vector<std::size_t> keys;
    const std::vector<std::string> original = codedPictures(movie.path, keys);
    const bool precise = GetParam().preset != Preset::passthrough;
    ASSERT_GE(keys.size(), 4U);
    // In a group of pictures, on its key picture, on the picture before the next key picture, and all.
    for (const std::size_t first : {keys[1] + 5, keys[1], keys[1] - 1, keys[2] - 1, std::size_t{0}}) {
        SCOPED_TRACE(first);
        const auto path = cut(movie.path, movie.secondsAt(first), 12, GetParam().preset);
        expectSamePictures(part(movie.pictures, movie.secondsAt(first), 12), Presented(path).pictures);
        std::vector<std::size_t> unused;
        const std::vector<std::string> found = codedPictures(path, unused);
        const auto key = std::upper_bound(keys.begin(), keys.end(), first);
        const bool onKey = std::binary_search(keys.begin(), keys.end(), first);
        const std::size_t kept = precise ? original.size() - first : original.size() - *std::prev(key);
        EXPECT_EQ(found.size(), kept);
        const std::size_t copied = precise ? original.size() - (onKey ? first : *key) : kept;
        EXPECT_TRUE(std::equal(original.end() - static_cast<std::ptrdiff_t>(copied), original.end(),
                               found.end() - static_cast<std::ptrdiff_t>(copied)));
        const bool twoKeys = precise && !onKey && first + 1 == *key;
        if (!twoKeys || GetParam().codec != AVVideoCodecType::h264) continue;
        const std::vector<std::string> ids = idrIds(path);
        ASSERT_GE(ids.size(), 2U);
        EXPECT_NE(ids[0], ids[1]) << "of consecutive key pictures";
    }
}

INSTANTIATE_TEST_SUITE_P(Trials, RangeTests,
                         testing::Values(Trial{AVVideoCodecType::h264, Preset::passthrough},
                                         Trial{AVVideoCodecType::hevc, Preset::passthrough},
                                         Trial{AVVideoCodecType::h264, Preset::highestQuality},
                                         Trial{AVVideoCodecType::hevc, Preset::hevcHighestQuality}),
                         [](const auto& each) {
                             return std::string(each.param.preset == Preset::passthrough ? "Fast"
                                                                                         : "Precise") +
                                    (each.param.codec == AVVideoCodecType::h264 ? "H264" : "Hevc");
                         });

TEST_P(RangeTests, LookTheSame) {
    // Copied pictures have no quality of their own.
    const bool precise = GetParam().preset != Preset::passthrough;
    for (const int bitRate : precise ? std::vector{15'000, 60'000, 1'000'000} : std::vector<int>{}) {
        const CountedMovie movie = make(recipe(6, {}, bitRate));
        MovieProbe original(movie.path);
        double worst = 1;
        MovieProbe(cut(movie.path, 1, 3, GetParam().preset))
            .visitPictures([&](const stage::Picture& picture) {
                const stage::OwnedPicture before = original.pictureAt(1 + picture.time);
                worst = std::min(worst, stage::structuralSimilarity(before->luma(), picture.luma()));
                return true;
            });
        EXPECT_GE(worst, 0.995) << bitRate;
    }
}

/// A movie of another program: a name, and options of ffmpeg.
using Foreign = std::pair<std::string, std::string>;

class ForeignTests : public TrimTests, public testing::WithParamInterface<Foreign> {};

TEST_P(ForeignTests, ArePreciseToo) {
    const std::filesystem::path source = folder / "movie.mov";
    stage::runProgram({"sh", "-c",
                       "ffmpeg -v error -i " + make(10).path.string() + " -c:a copy -c:v " +
                           GetParam().second + " " + source.string()});
    const Presented original(source);
    ASSERT_GT(original.pictures.size(), 50U);
    for (const auto& [from, to] : someRanges(3, 9.9)) {
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality}) {
            SCOPED_TRACE(testing::Message() << from << " to " << to << ", preset " << int(preset));
            const std::filesystem::path path = cut(source, from, to, preset, AVFileType::quickTimeMovie);
            expectPart(original, path, from, to, 1);
            if (preset == Preset::highestQuality) {
                EXPECT_EQ(MovieProbe(path).packets(0).front().pts, 0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Movies, ForeignTests,
    testing::Values(Foreign{"Reordered", "libx264 -bf 3 -g 60 -crf 8 -fps_mode passthrough"},
                    Foreign{"OpenGroups", "libx264 -crf 8 -x264-params open-gop=1:bframes=3:keyint=30 -r 30"},
                    Foreign{"Hevc", "libx265 -crf 10 -x265-params log-level=none -tag:v hvc1 -r 30"},
                    Foreign{"CoarseClock", "libx264 -bf 0 -crf 8 -r 30 -video_track_timescale 30"},
                    Foreign{"OddSides", "mjpeg -q:v 2 -r 30 -vf pad=161:97"},
                    Foreign{"Mpeg4", "mpeg4 -q:v 2 -bf 2 -r 30"},
                    Foreign{"Fragmented", "copy -movflags frag_keyframe+delay_moov"}),
    [](const auto& each) { return each.param.first; });

TEST_F(TrimTests, ACutCanBeCutAgain) {
    const CountedMovie movie = make(12);
    const Presented original(movie.path);
    for (const Preset first : {Preset::passthrough, Preset::highestQuality}) {
        const std::filesystem::path once = cut(movie.path, 1.234, 10.5, first);
        for (const Preset second : {Preset::passthrough, Preset::highestQuality}) {
            for (const double from : {0.0, 0.001, 3.3}) {
                SCOPED_TRACE(testing::Message() << int(first) << int(second) << " from " << from);
                expectPart(original, cut(once, from, 7.25, second), 1.234 + from, 1.234 + 7.25, 1);
            }
        }
    }
}

TEST_F(TrimTests, RecordedInputIsKeptUntilItIsRemoved) {
    const Assets assets;
    const CountedMovie movie =
        make({.type = AVFileType::quickTimeMovie, .seconds = 5, .channels = {2, 1}, .input = true});
    const auto events = inputIn(MovieProbe(movie.path));
    assets.mixAudio(movie.path, folder / "mixed.mov", AVFileType::quickTimeMovie, {});
    assets.exportMovie(movie.path, folder / "converted.mp4", AVFileType::mpeg4, Preset::passthrough,
                       std::nullopt, {});
    for (const auto& path : {movie.path, folder / "mixed.mov", folder / "converted.mp4"}) {
        SCOPED_TRACE(path);
        expectInput(path, 5, 0, 5);
        EXPECT_TRUE(assets.summary(path).recordedInput);
        EXPECT_EQ(assets.recordedInput(path), events);
        EXPECT_NEAR(assets.summary(path).duration, 5, 0.001);
        EXPECT_THAT(stage::complaintsAbout(path), IsEmpty());
        const auto without = folder / "without.mp4";
        std::filesystem::remove(without);
        assets.copyWithoutInput(path, without, AVFileType::mpeg4, {});
        EXPECT_FALSE(assets.summary(without).recordedInput);
        EXPECT_THAT(assets.recordedInput(without), IsEmpty());
        expectPart(Presented(path), without, 0, 5);
        EXPECT_EQ(readText(without).find("pointer"), std::string::npos);
    }
}

/// Movies are untrusted; what is not as it is written is left out.
TEST(InputSampleTests, DamagedSamplesAreIgnored) {
    const auto read = [](const std::string& text) {
        return readInputSample({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    };
    const RecordedInput keys{RecordedInput::Kind::keys, {}, {}, 0, "Ctrl+\xC3\x9C \"\\"};
    const auto found = read(inputSample(keys));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->keys, keys.keys);
    for (const std::string& text : std::vector<std::string>{
             "", "{", "null", "[]", "{}", R"({"kind":"pointer"})", R"({"kind":"pointer","x":"1","y":0})",
             R"({"kind":"pointer","x":1e999,"y":0})", R"({"kind":"pointer","x":5000,"y":0})",
             R"({"kind":"press","x":0,"y":0})", R"({"kind":"press","x":0,"y":0,"button":4})",
             R"({"kind":"press","x":0,"y":0,"button":-1})", R"({"kind":"keys","keys":""})",
             R"({"kind":"keys","keys":"a\u001b[31m"})", R"({"kind":"other","x":0,"y":0})",
             "{\"kind\":\"\xFF\"}", R"({"kind":"keys","keys":")" + std::string(300, 'a') + "\"}",
             std::string(2000, '['), R"({"kind":"pointer","x":0,"y":0})" + std::string(2000, ' ')})
        EXPECT_FALSE(read(text)) << text;
}

TEST_F(TrimTests, RangesMayBeShortOrBeforeTheSound) {
    const CountedMovie movie = make({.seconds = 8, .channels = {2, 1, 2}, .soundBegins = 2.5});
    const Presented original(movie.path);
    const double picture = movie.secondsAt(40);
    const double next = movie.secondsAt(41);
    // All, before the sound, into the sound, one picture, and a part of one.
    const std::vector<std::pair<double, double>> ranges{
        {0, 8}, {0, 1}, {1, 4}, {picture, next}, {picture + 0.01, next - 0.01}};
    for (const auto& [from, to] : ranges) {
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality}) {
            SCOPED_TRACE(testing::Message() << from << " to " << to << ", preset " << int(preset));
            const Presented found(cut(movie.path, from, to, preset));
            expectSamePictures(part(original.pictures, from, to), found.pictures);
            EXPECT_NEAR(found.probe.duration(), to - from, 0.001);
        }
    }
    expectPart(original, cut(movie.path, 7.9, 8, Preset::highestQuality), 7.9, 8);
    expectPart(original, cut(movie.path, 3, 100, Preset::highestQuality), 3, 8);
}

TEST_F(TrimTests, SoundAloneCanBeCut) {
    const CountedMovie movie = make({.type = AVFileType::appleM4A, .seconds = 5, .hasPictures = false});
    const Presented original(movie.path);
    for (const Preset preset : {Preset::passthrough, Preset::highestQuality})
        expectPart(original, cut(movie.path, 1.11111, 4.2, preset, AVFileType::appleM4A), 1.11111, 4.2);
}

TEST_F(TrimTests, FailuresSayWhy) {
    const std::filesystem::path movie = make(4).path;
    const auto shortened = [&](const std::string& name, std::uintmax_t size) {
        std::filesystem::copy_file(movie, folder / name);
        std::filesystem::resize_file(folder / name, size);
        return folder / name;
    };
    const auto bytes = std::filesystem::file_size(movie);
    writeText(folder / "text", "This is no movie.");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    stage::runProgram({"ffmpeg", "-v", "error", "-i", movie, "-c:v", "ffv1", "-an", folder / "exotic.mkv"});
    const struct {
        std::filesystem::path source;
        const char* error;
        double from = 1;
        double to = 2;
    } cases[] = {
        {folder / "missing", "No such file"},
        {folder / "text", "isn't a movie"},
        {shortened("empty", 0), "“empty” couldn't be read: it is empty."},
        {shortened("index", 1000), "couldn't be read:"},
        {shortened("half", bytes / 2), "it is cut off", 0.1, 3.9},
        {folder.path(), "it is a folder"},
        {folder / "pipe", "it isn't a movie."},
        {folder / "exotic.mkv", "can't hold: ffv1"},
        {movie, "outside the recording", 4.5, 5},
        {movie, "outside the recording", 2, 1},
        {movie, "outside the recording", 2, 2},
        {movie, "outside the recording", -1, 2},
    };
    for (const auto& each : cases)
        EXPECT_THAT(failure(each.source, each.from, each.to), HasSubstr(each.error)) << each.source;
}

TEST_F(TrimTests, AFullDiskLeavesNothing) {
    const CountedMovie movie = make(8);
    // At the beginning, among the media and in the index.
    for (const rlim_t bytes : {1U, 20'000U, 100'000U}) {
        const FullDisk disk(bytes);
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality})
            EXPECT_EQ(failure(movie.path, 0.5, 7.5, preset),
                      "The new file couldn't be written: File too large.");
    }
}

TEST_F(TrimTests, CanBeCancelledAtAnyTime) {
    const CountedMovie movie = make(12);
    const std::filesystem::path foreign = folder / "other.mp4";
    stage::runProgram(
        {"ffmpeg", "-v", "error", "-i", movie.path, "-c:v", "libx264", "-bf", "2", "-c:a", "copy", foreign});
    for (const std::filesystem::path& source : {movie.path, foreign}) {
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality}) {
            for (const double limit : {-1.0, 0.0, 0.3, 0.6, 0.95, 2.0}) {
                std::stop_source stop;
                if (limit < 0) stop.request_stop();
                std::vector<double> parts;
                const LongWork work{[&](double part) {
                                        parts.push_back(part);
                                        if (part >= limit) stop.request_stop();
                                    },
                                    stop.get_token()};
                const std::string error = failure(source, 1.1, 11, preset, work);
                EXPECT_EQ(error, limit <= 1 ? CancelledError().what() : std::string("no error")) << limit;
                EXPECT_TRUE(std::is_sorted(parts.begin(), parts.end()));
                if (limit <= 1) continue;
                EXPECT_GE(parts.size(), 10U);
                EXPECT_GE(parts.back(), 0.9);
                EXPECT_LE(parts.back(), 1);
            }
        }
    }
}

/// Pictures of 160 × 90 for 2.5 s with B-frames, sound for 2.2 s, and copies of them.
class AssetSummaryTests : public testing::Test {
 protected:
    AssetSummaryTests() {
        ffmpeg(
            "-f lavfi -i testsrc=s=160x90:r=20:d=2.5 -f lavfi -i sine=d=2.2 -c:v libx264 -bf 2 -preset "
            "ultrafast -x264-params bframes=2 -c:a aac",
            "source.mp4");
    }
    std::filesystem::path ffmpeg(const std::string& arguments, const std::string& name) {
        const auto path = folder / name;
        stage::runProgram({"sh", "-c", "ffmpeg -v error -y " + arguments + " " + path.string()});
        return path;
    }
    std::filesystem::path copy(const std::string& how, const std::string& name) {
        return ffmpeg("-i " + (folder / "source.mp4").string() + " -c copy " + how, name);
    }

    TemporaryFolder folder;
};

TEST_F(AssetSummaryTests, OfOtherProgramsFiles) {
    const AVAssetSummary whole{2.5, Size{160, 90}, "avc1", 1};
    const std::pair<std::filesystem::path, AVAssetSummary> cases[] = {
        {folder / "source.mp4", whole},
        {copy("-movflags faststart", "front.mov"), whole},
        {copy("-movflags frag_keyframe+empty_moov+delay_moov", "a.mp4"), whole},
        {copy("-movflags frag_keyframe", "b.mp4"), whole},
        {copy("-movflags dash+global_sidx -frag_duration 500000", "c.mp4"), whole},
        {copy("-metadata:s:v rotate=90", "turned.mp4"), {2.5, Size{90, 160}, "avc1", 1}},
        {copy("-aspect 4:3", "narrow.mp4"), {2.5, Size{120, 90}, "avc1", 1}},
        {copy("-map 0:a -map 0:a", "sounds.m4a"), {2.2, std::nullopt, "", 2}},
        {copy("-an", "silent.m4v"), {2.5, Size{160, 90}, "avc1", 0}},
        {copy("-f matroska", "renamed.mp4"), whole},
        {copy("-c:v mpeg4 -f avi", "renamed.mov"), {2.5, Size{160, 90}, "mpeg4", 1}},
    };
    for (const auto& [file, expected] : cases) {
        AVAssetSummary movie = Assets().summary(file);
        // Without edit lists, the reordering of B-frames may shift the end by two pictures.
        EXPECT_NEAR(movie.duration, expected.duration, 0.101) << file;
        movie.duration = expected.duration;
        EXPECT_EQ(movie, expected) << file;
    }
}

TEST_F(AssetSummaryTests, OtherFilesAreRefusedWithASentence) {
    std::filesystem::create_directory(folder / "folder.mp4");
    ASSERT_EQ(mkfifo((folder / "pipe.mp4").c_str(), 0600), 0);
    const std::string whole = readText(folder / "source.mp4");
    const std::pair<std::filesystem::path, std::string> cases[] = {
        {writeText(folder / "empty.mp4", ""), "it is empty."},
        {writeText(folder / "text.mp4", "hello"), "it isn't a movie."},
        {writeText(folder / "list.mp4", "ffconcat version 1.0\nfile source.mp4\n"), "it isn't a movie."},
        {writeText(folder / "cut.mp4", whole.substr(0, whole.size() / 2)), "it is cut off."},
        {folder / "gone.mp4", "No such file or directory."},
        {folder / "folder.mp4", "it is a folder."},
        {folder / "pipe.mp4", "it isn't a movie."},
    };
    for (const auto& [file, why] : cases) {
        const auto read = [file = file] { Assets().summary(file); };
        EXPECT_THAT(read, testing::ThrowsMessage<PlatformError>("“" + file.filename().string() +
                                                                "” couldn't be read: " + why));
    }
}

}  // namespace
}  // namespace lumicrate::media
