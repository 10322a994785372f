// SPDX-License-Identifier: GPL-3.0-or-later
// Summaries of our own movies at every stage, and of damaged ones. AssetsTests has files of other programs.
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <gtest/gtest.h>

namespace lumicrate::isobmff::test {
namespace {

std::optional<MovieSummary> read(const ByteSource& file) {
    const SummaryReading reading = readMovieSummary(file);
    const auto* movie = std::get_if<MovieSummary>(&reading);
    return movie == nullptr ? std::nullopt : std::optional(*movie);
}

TEST(MovieSummaryTests, OurMoviesHaveTheSameSummaryFinishedOrNot) {
    for (const Brand brand : {Brand::mpeg4, Brand::quickTime}) {
        for (const double begin : {0.0, 3.0}) {
            SimulatedRecording recording(
                movie(brand, {screen(VideoCodec::hevc), sound("System", 2, 2112), sound("Mic", 1, 1024)}),
                2 * blockSize);
            recording.record(begin, begin + 2, 7);
            recording.finish();
            const std::pair<const char*, MemoryFile> stages[] = {
                {"unfinished", recording.file()},
                {"finished in its room", finishedInRoom(recording)},
                {"finished by copying", finishedByCopy(recording)},
                {"finished behind", finishedBehind(recording)}};
            for (const auto& [what, file] : stages) {
                SCOPED_TRACE(std::string(what) + " from " + std::to_string(begin));
                const auto found = read(file);
                ASSERT_TRUE(found);
                ASSERT_EQ(found->tracks.size(), 3U);
                double longest = 0;
                for (std::size_t i = 0; i < 3; ++i) {
                    const double seconds = static_cast<double>(recording.tables()[i].presentedEnd()) /
                                           recording.description().tracks[i].timescale;
                    // Finished movies round to the movie's ticks.
                    EXPECT_NEAR(found->tracks[i].duration, seconds, 0.002) << i;
                    longest = std::max(longest, found->tracks[i].duration);
                }
                EXPECT_EQ(found->duration, longest);
                const TrackSummary& picture = found->tracks[0];
                EXPECT_EQ(picture.kind, fourCC("vide"));
                EXPECT_EQ(picture.format, fourCC("hvc1"));
                EXPECT_EQ(picture.width, 1920);
                EXPECT_EQ(picture.height, 1080);
            }
        }
    }
}

TEST(MovieSummaryTests, NeitherMediaNorTablesAreRead) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 2000, 5);
    const MemoryFile finished = finishedBehind(recording);
    const CountedFile counted(finished);
    EXPECT_TRUE(read(counted));
    EXPECT_LT(counted.bytesRead, 65536U);
    EXPECT_GT(finished.size(), 1'000'000U);
}

TEST(MovieSummaryTests, ATruncatedMovieIsRecognized) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 1, 9);
    const MemoryFile whole = finishedBehind(recording);
    for (std::uint64_t length = 8; length < whole.size(); ++length)
        ASSERT_TRUE(std::holds_alternative<CutOffMovie>(readMovieSummary(whole.cut(length)))) << length;
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
    SimulatedRecording recording(screenAndSound());
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
