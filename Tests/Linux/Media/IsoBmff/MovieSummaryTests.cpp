// SPDX-License-Identifier: GPL-3.0-or-later
// Summaries of our own movies at every stage, and of damaged ones. AssetSummaryTests has files of other
// programs.
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace lumicrate::isobmff::test {
namespace {

std::optional<MovieSummary> read(const ByteSource& file) {
    const SummaryReading reading = readMovieSummary(file);
    const auto* movie = std::get_if<MovieSummary>(&reading);
    return movie == nullptr ? std::nullopt : std::optional(*movie);
}

bool isCutOff(const ByteSource& file) {
    return std::holds_alternative<CutOffMovie>(readMovieSummary(file));
}

double secondsOf(const SimulatedRecording& recording, std::size_t track) {
    return static_cast<double>(recording.tables()[track].presentedEnd()) /
           recording.description().tracks[track].timescale;
}

void expectTracks(const MemoryFile& file, const SimulatedRecording& recording, const std::string& what) {
    const auto movie = read(file);
    ASSERT_TRUE(movie) << what;
    ASSERT_EQ(movie->tracks.size(), recording.description().tracks.size()) << what;
    double longest = 0;
    for (std::size_t i = 0; i < movie->tracks.size(); ++i) {
        // Finished movies round to the movie's ticks.
        EXPECT_NEAR(movie->tracks[i].duration, secondsOf(recording, i), 0.002) << what << i;
        longest = std::max(longest, movie->tracks[i].duration);
    }
    EXPECT_EQ(movie->duration, longest) << what;
}

TEST(MovieSummaryTests, OurMoviesHaveTheSameSummaryFinishedOrNot) {
    for (const Brand brand : {Brand::mpeg4, Brand::quickTime}) {
        for (const double begin : {0.0, 3.0}) {
            SimulatedRecording recording(
                movie(brand, {screen(VideoCodec::hevc), sound("System", 2, 2112), sound("Mic", 1, 1024)}),
                2 * blockSize);
            recording.record(begin, begin + 2, 7);
            recording.finish();
            const std::string at = " from " + std::to_string(begin) + ", track ";
            expectTracks(recording.file(), recording, "unfinished" + at);
            expectTracks(finishedInRoom(recording), recording, "finished in its room" + at);
            expectTracks(finishedByCopy(recording), recording, "finished by copying" + at);
            expectTracks(finishedBehind(recording), recording, "finished behind" + at);
            const TrackSummary picture = read(recording.file())->tracks[0];
            EXPECT_EQ(picture.kind, fourCC("vide"));
            EXPECT_EQ(picture.format, fourCC("hvc1"));
            const auto& media = std::get<VideoDescription>(recording.description().tracks[0].media);
            EXPECT_EQ(picture.width, media.width);
            EXPECT_EQ(picture.height, media.height);
        }
    }
}

TEST(MovieSummaryTests, NeitherMediaNorTablesAreRead) {
    SimulatedRecording recording(movie(Brand::mpeg4, {screen(), sound("System", 2, 2112)}));
    recording.record(0, 2000, 5);
    const MemoryFile finished = finishedBehind(recording);
    const CountedFile counted(finished);
    EXPECT_TRUE(read(counted));
    EXPECT_LT(counted.bytesRead, 65536U);
    EXPECT_GT(finished.size(), 1'000'000U);
}

TEST(MovieSummaryTests, ATruncatedMovieIsRecognized) {
    SimulatedRecording recording(movie(Brand::mpeg4, {screen(), sound("System", 2, 2112)}));
    recording.record(0, 1, 9);
    const MemoryFile whole = finishedBehind(recording);
    for (std::uint64_t length = 8; length < whole.size(); ++length)
        ASSERT_TRUE(isCutOff(whole.cut(length))) << length;
    // Zeros behind the fragments, as after a power cut.
    MemoryFile powerCut = recording.file();
    const double before = read(powerCut)->duration;
    powerCut.bytes.resize(powerCut.bytes.size() + 10'000);
    EXPECT_EQ(read(powerCut)->duration, before);
}

TEST(MovieSummaryTests, ADamagedFileIsNoMovie) {
    struct Damage {
        std::string_view box;
        std::size_t place;
        std::uint32_t value;
    };
    SimulatedRecording recording(movie(Brand::mpeg4, {screen(), sound("System", 2, 2112)}));
    recording.record(0, 1, 9);
    // The index alone, without the empty one in front.
    MemoryFile whole = finishedBehind(recording);
    const auto at =
        std::find_end(whole.bytes.begin(), whole.bytes.end(), std::begin("moov"), std::end("moov") - 1);
    whole.bytes.erase(whole.bytes.begin(), at - 4);
    ASSERT_TRUE(read(whole));

    for (const Damage& each : {Damage{"moov", 0, 7}, Damage{"moov", 0, 0x7fffffff}, Damage{"mvhd", 12, 0},
                               Damage{"tkhd", 0, 0x07000000}, Damage{"tkhd", 12, 0}, Damage{"mdhd", 12, 0},
                               Damage{"elst", 4, 0xffffffff}}) {
        MemoryFile damaged = whole;
        damaged.putNumber(damaged.boxOffset(each.box) + boxHeaderSize + each.place, each.value);
        EXPECT_TRUE(std::holds_alternative<NoMovie>(readMovieSummary(damaged)))
            << each.box << " " << each.place;
    }
    // An unknown duration.
    MemoryFile unknown = whole;
    unknown.putNumber(unknown.boxOffset("mvhd") + boxHeaderSize + 16, 0xffffffff);
    EXPECT_EQ(read(unknown)->duration, read(whole)->duration);
    for (const std::string_view other : {"", "RIFF", "hello, world", "\x1a\x45\xdf\xa3 matroska"}) {
        const MemoryFile file({other.begin(), other.end()});
        EXPECT_TRUE(std::holds_alternative<NoMovie>(readMovieSummary(file))) << other;
    }
}

}  // namespace
}  // namespace lumicrate::isobmff::test
