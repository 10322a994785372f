// Ranges cut out of movies, judged picture by picture and sample by sample.

#include "Linux/Media/Editing/InputMovie.h"
#include "Tests/Linux/Media/Editing/Presented.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <sstream>

namespace lumicrate::media {
namespace {

using stage::MovieProbe;
using test::clock;
using test::CountedMovie;
using test::CountedRecipe;
using test::expectPart;
using test::expectSamePictures;
using test::isThorough;
using test::part;
using test::Presented;
using test::shown;
using test::ticks;
using test::TrimFixture;

std::vector<std::size_t> keyPictures(const std::filesystem::path& path) {
    MovieProbe probe(path);
    std::vector<std::size_t> keys;
    std::size_t number = 0;
    for (const stage::Packet& each : probe.packets(probe.videoTrack().index)) {
        if (each.isKey) keys.push_back(number);
        ++number;
    }
    return keys;
}

/// The bytes of each coded picture.
std::vector<std::string> codedPictures(const std::filesystem::path& path) {
    InputMovie movie(path);
    movie.select({movie.videoTrack().value()});
    std::vector<std::string> pictures;
    const OwnedPacket packet = makePacket();
    while (movie.read(*packet))
        pictures.emplace_back(packet->data, packet->data + packet->size);
    return pictures;
}

struct Trial {
    const char* name;
    AVVideoCodecType codec;
    AVAssetExportPreset preset;
};

void PrintTo(const Trial& trial, std::ostream* stream) {
    *stream << trial.name;
}

class RangeTests : public TrimFixture, public testing::WithParamInterface<Trial> {};

TEST_P(RangeTests, ShowsAndSoundsTheRangeAndNothingElse) {
    CountedRecipe recipe;
    recipe.codec = GetParam().codec;
    recipe.channels = {2, 1};
    const CountedMovie movie = CountedMovie::make(folder / "movie", recipe);
    const Presented original(movie.path);
    expectSamePictures(movie.pictures, original.pictures);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> places(0, recipe.seconds);
    for (int i = 0; i < (isThorough() ? 50 : 10); ++i) {
        const double one = static_cast<double>(ticks(places(random))) / clock;
        const double other = static_cast<double>(ticks(places(random))) / clock;
        const double from = std::min(one, other);
        const double to = std::max(one, other);
        SCOPED_TRACE(testing::Message() << i << ": " << from << " to " << to);
        expectPart(original, cut(movie.path, from, to, GetParam().preset), from, to);
        if (HasFailure()) break;
    }
}

const auto nameOf = [](const testing::TestParamInfo<Trial>& each) { return each.param.name; };
const std::array fastTrials{Trial{"FastH264", AVVideoCodecType::h264, AVAssetExportPreset::passthrough},
                            Trial{"FastHevc", AVVideoCodecType::hevc, AVAssetExportPreset::passthrough}};
const std::array preciseTrials{
    Trial{"PreciseH264", AVVideoCodecType::h264, AVAssetExportPreset::highestQuality},
    Trial{"PreciseHevc", AVVideoCodecType::hevc, AVAssetExportPreset::hevcHighestQuality}};
INSTANTIATE_TEST_SUITE_P(Fast, RangeTests, testing::ValuesIn(fastTrials), nameOf);
INSTANTIATE_TEST_SUITE_P(Precise, RangeTests, testing::ValuesIn(preciseTrials), nameOf);

TEST_P(RangeTests, CopiesWhatItNeedNotCode) {
    CountedRecipe recipe;
    recipe.codec = GetParam().codec;
    recipe.seconds = 12;
    recipe.channels = {};
    const CountedMovie movie = CountedMovie::make(folder / "movie", recipe);
    const std::vector<std::string> original = codedPictures(movie.path);
    const bool precise = GetParam().preset != AVAssetExportPreset::passthrough;
    // Within a group, on its key picture, on the picture before the next key, and all of it.
    const std::vector<std::size_t> keys = keyPictures(movie.path);
    ASSERT_GE(keys.size(), 4U);
    const auto timeOf = [&](std::size_t number) {
        return static_cast<double>(movie.pictures[number].time) / clock;
    };
    for (const std::size_t first : {keys[1] + 5, keys[1], keys[2] - 1, std::size_t{0}}) {
        SCOPED_TRACE(first);
        const std::filesystem::path path = cut(movie.path, timeOf(first), recipe.seconds, GetParam().preset);
        expectSamePictures(part(movie.pictures, movie.pictures[first].time, ticks(recipe.seconds)),
                           shown(path));
        const std::vector<std::string> found = codedPictures(path);
        const auto key = std::upper_bound(keys.begin(), keys.end(), first);
        const std::size_t copied = std::binary_search(keys.begin(), keys.end(), first) ? first : *key;
        const std::size_t kept = precise ? original.size() - first : original.size() - *std::prev(key);
        EXPECT_EQ(found.size(), kept);
        const std::size_t same = precise ? original.size() - copied : kept;
        EXPECT_TRUE(std::equal(original.end() - static_cast<std::ptrdiff_t>(same), original.end(),
                               found.end() - static_cast<std::ptrdiff_t>(same)));
    }
}

/// Of the key pictures of an H.264 movie, as another program reads them.
std::vector<std::string> keyNumbers(const std::filesystem::path& path) {
    const stage::ProgramRun trace = stage::runToEnd(
        {"ffmpeg", "-i", path, "-map", "0:v", "-c", "copy", "-bsf:v", "trace_headers", "-f", "null", "-"});
    std::vector<std::string> numbers;
    std::istringstream lines(trace.error);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("idr_pic_id") != std::string::npos) numbers.push_back(line.substr(line.rfind('=')));
    }
    return numbers;
}

TEST_F(TrimFixture, KeyPicturesThatFollowEachOtherBearDifferentNumbers) {
    CountedRecipe recipe;
    recipe.seconds = 12;
    recipe.channels = {};
    const CountedMovie movie = CountedMovie::make(folder / "movie", recipe);
    const std::vector<std::size_t> keys = keyPictures(movie.path);
    ASSERT_GE(keys.size(), 4U);
    for (std::size_t i = 1; i < 4; ++i) {
        const double from = static_cast<double>(movie.pictures[keys[i] - 1].time) / clock;
        const std::filesystem::path path =
            cut(movie.path, from, recipe.seconds, AVAssetExportPreset::highestQuality);
        ASSERT_EQ(keyPictures(path)[1], 1U) << "one picture is coded anew";
        const std::vector<std::string> numbers = keyNumbers(path);
        ASSERT_GE(numbers.size(), 2U);
        EXPECT_NE(numbers[0], numbers[1]);
    }
}

class CodedAnewTests : public RangeTests {};
INSTANTIATE_TEST_SUITE_P(Precise, CodedAnewTests, testing::ValuesIn(preciseTrials), nameOf);

TEST_P(CodedAnewTests, NobodySeesIt) {
    for (const int bitRate : {15'000, 60'000, 1'000'000}) {
        CountedRecipe recipe;
        recipe.codec = GetParam().codec;
        recipe.bitRate = bitRate;
        recipe.seconds = 6;
        recipe.channels = {};
        const std::filesystem::path name = folder / std::to_string(bitRate);
        const CountedMovie movie = CountedMovie::make(name, recipe);
        const std::filesystem::path path = cut(movie.path, 1, 3, GetParam().preset);
        MovieProbe original(movie.path);
        MovieProbe found(path);
        double worst = 1;
        found.visitPictures([&](const stage::Picture& picture) {
            const stage::OwnedPicture before = original.pictureAt(1 + picture.time);
            worst = std::min(worst, stage::structuralSimilarity(before->luma(), picture.luma()));
            return true;
        });
        EXPECT_GE(worst, 0.995) << bitRate;
        RecordProperty("similarity" + std::to_string(bitRate), std::to_string(worst));
    }
}

/// A movie that another program has made.
struct Foreign {
    const char* name;
    std::vector<std::string> options;  ///< of ffmpeg
};

void PrintTo(const Foreign& foreign, std::ostream* stream) {
    *stream << foreign.name;
}

class ForeignTests : public TrimFixture, public testing::WithParamInterface<Foreign> {};

TEST_P(ForeignTests, ArePreciseToo) {
    CountedRecipe recipe;
    recipe.seconds = 10;
    const CountedMovie movie = CountedMovie::make(folder / "ours", recipe);
    const std::filesystem::path source = folder / "movie.mov";
    std::vector<std::string> command{"ffmpeg", "-v", "error", "-i", movie.path, "-c:a", "copy"};
    command.insert(command.end(), GetParam().options.begin(), GetParam().options.end());
    command.push_back(source);
    stage::runProgram(command);
    const Presented original(source);
    ASSERT_GT(original.pictures.size(), 50U);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> places(0, 9.9);
    for (int i = 0; i < (isThorough() ? 20 : 3); ++i) {
        double from = static_cast<double>(ticks(places(random))) / clock;
        double to = static_cast<double>(ticks(places(random))) / clock;
        if (from > to) std::swap(from, to);
        for (const bool precise : {false, true}) {
            SCOPED_TRACE(testing::Message() << from << " to " << to << (precise ? ", precise" : ""));
            const auto preset =
                precise ? AVAssetExportPreset::highestQuality : AVAssetExportPreset::passthrough;
            const std::filesystem::path path = cut(source, from, to, preset, AVFileType::quickTimeMovie);
            expectPart(original, path, from, to, 1);
            if (precise) {
                EXPECT_EQ(MovieProbe(path).packets(0).front().pts, 0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Movies, ForeignTests,
    testing::Values(
        Foreign{"Reordered",
                {"-c:v", "libx264", "-bf", "3", "-g", "60", "-crf", "8", "-fps_mode", "passthrough"}},
        Foreign{
            "OpenGroups",
            {"-c:v", "libx264", "-crf", "8", "-x264-params", "open-gop=1:bframes=3:keyint=30", "-r", "30"}},
        Foreign{"Hevc",
                {"-c:v", "libx265", "-crf", "10", "-x265-params", "log-level=none", "-tag:v", "hvc1", "-r",
                 "30"}},
        Foreign{"CoarseClock",
                {"-c:v", "libx264", "-bf", "0", "-crf", "8", "-r", "30", "-video_track_timescale", "30"}},
        Foreign{"OddSides", {"-c:v", "mjpeg", "-q:v", "2", "-r", "30", "-vf", "pad=161:97"}},
        Foreign{"Mpeg4", {"-c:v", "mpeg4", "-q:v", "2", "-bf", "2", "-r", "30"}},
        Foreign{"Fragmented", {"-c:v", "copy", "-movflags", "frag_keyframe+delay_moov"}}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace lumicrate::media
