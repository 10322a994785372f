// SPDX-License-Identifier: GPL-3.0-or-later
// Reading our own movies at every stage, whole or damaged: all of it, or the summary. AssetsTests has files
// of other programs.
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace lumicrate::isobmff::test {
namespace {

/// Expects the movie with these samples.
void expectRead(const ByteSource& file, const SimulatedRecording& recording,
                const std::vector<SampleTable>& tables, std::uint64_t mediaEnd) {
    const auto found = readBack(file);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->description, recording.description());
    EXPECT_EQ(found->identifier, testIdentifier);
    EXPECT_EQ(found->layout, recording.layout());
    EXPECT_TRUE(found->tracks == tables);
    EXPECT_EQ(found->mediaEnd, mediaEnd);
}

void expectAll(const SimulatedRecording& recording) {
    expectRead(recording.file(), recording, recording.tables(), recording.file().size());
}

/// Where the last fragment ends that fits into this length.
std::uint64_t lastWholeEnd(const SimulatedRecording& recording, std::uint64_t length) {
    std::uint64_t last = recording.layout().media;
    for (const MediaWrite& write : recording.writes()) {
        const std::uint64_t end = write.bytes.offset + write.bytes.bytes.size();
        if (!write.runs.empty() && end <= length) last = end;
    }
    return last;
}

MovieDescription screenWithSounds() {
    return movie(Brand::mpeg4,
                 {screen(), sound("System Audio", 2, 2112), sound("Microphone", 1, 1024), metadata()});
}

std::map<std::string, MovieDescription> cases() {
    MovieDescription farFuture = movie(Brand::mpeg4, {screen()});
    farFuture.created = 4'000'000'000;
    MovieDescription beforeUnix = movie(Brand::m4a, {sound("Old", 1, 0)});
    beforeUnix.created = -1000;
    MovieDescription odd = movie(Brand::quickTime, {screen(VideoCodec::hevc), sound("", 1, 1)});
    odd.tracks[0].timescale = 600;
    odd.tracks[0].media = VideoDescription{VideoCodec::hevc, 65535, 1, std::vector<std::uint8_t>(2000, 0xa5)};
    std::get<AudioDescription>(odd.tracks[1].media).sampleRate = 44100;
    return {
        {"screenWithSounds", screenWithSounds()},
        {"quickTime",
         movie(Brand::quickTime, {screen(VideoCodec::hevc), sound("Bildschirm-Ton", 2, 2112), metadata()})},
        {"quickTimeLongName", movie(Brand::quickTime, {sound(std::string(255, 'n'), 2, 0)})},
        {"soundAlone", movie(Brand::m4a, {sound("Mikrofon „Ü“ 麦克风", 1, 2112), sound("System", 2, 0)})},
        {"soundFirst", movie(Brand::mpeg4, {sound("System", 2, 2112), screen(VideoCodec::hevc)})},
        {"datesOf64Bits", farFuture},
        {"dateBefore1970", beforeUnix},
        {"oddNumbers", odd},
    };
}

TEST(UnfinishedMovieTests, ReadsWhatWasWrittenUntilItIsFinished) {
    for (const auto& [name, description] : cases()) {
        SCOPED_TRACE(name);
        SimulatedRecording recording(description, 4 * blockSize);
        expectAll(recording);
        recording.record(0, 7, 1);
        expectAll(recording);
        recording.finish();
        expectAll(recording);
        EXPECT_GT(recording.writes().size(), 8U);
        for (const MemoryFile& file :
             {finishedInRoom(recording), finishedByCopy(recording), finishedBehind(recording)}) {
            const MovieReading reading = readUnfinishedMovie(file);
            const auto* finished = std::get_if<FinishedMovie>(&reading);
            ASSERT_NE(finished, nullptr);
            EXPECT_EQ(finished->identifier, testIdentifier);
            // A truncated finished movie cannot be repaired.
            EXPECT_TRUE(isForeign(file.cut(file.size() - 1)));
        }
    }
}

TEST(UnfinishedMovieTests, RecordingsOfDaysKeepTheirTimes) {
    SimulatedRecording recording(screenAndSound());
    constexpr std::int64_t hour = 3600;
    for (std::int64_t second = 0; second < 72 * hour; second += 12 * hour) {
        recording.add(0, 40, second * 90000, 3000, second == 0);
        recording.add(1, 8, second * 48000, 1024, true);
    }
    recording.finish();
    expectAll(recording);
}

TEST(UnfinishedMovieTests, LateTracksAndEmptyOnesAreKept) {
    SimulatedRecording recording(screenWithSounds());
    recording.add(0, 40, 0, 3000, true);
    for (int second = 1; second <= 30; ++second)
        recording.extendTo(second);
    EXPECT_EQ(readBack(recording.file())->tracks[0].end(), 30 * 90000) << "a still picture";
    recording.add(2, 8, 30LL * 48000, 1024, true);
    recording.finish();
    expectAll(recording);
}

/// Every write completed, and the next one cut off after some bytes.
TEST(UnfinishedMovieTests, AKillAtAnyWriteLosesThatWriteAlone) {
    SimulatedRecording recording(screenWithSounds());
    recording.record(0, 4, 3);
    recording.finish();
    const auto& writes = recording.writes();
    ASSERT_GT(writes.size(), 10U);
    for (std::size_t done = 0; done < writes.size(); ++done) {
        const MemoryFile whole = recording.fileAfter(done);
        const auto tables = recording.tablesAfter(done, whole.size());
        expectRead(whole, recording, tables, whole.size());

        const Placed& next = writes[done].bytes;
        if (next.offset < whole.size()) continue;  // a patched duration, which is written at once
        for (const std::size_t part :
             {std::size_t{1}, std::size_t{8}, next.bytes.size() / 2, next.bytes.size() - 1}) {
            MemoryFile partial = whole;
            partial.write({next.offset, {next.bytes.begin(), next.bytes.begin() + static_cast<int>(part)}});
            expectRead(partial, recording, tables, whole.size());
        }
    }
}

TEST(UnfinishedMovieTests, ACutAnywhereLosesTheLastFragmentAtMost) {
    SimulatedRecording recording(screenWithSounds());
    recording.record(0, 2.5, 5);
    recording.finish();
    const std::size_t writes = recording.writes().size();
    const std::uint64_t media = recording.layout().media;
    for (std::uint64_t length = 0; length < media; ++length)
        ASSERT_TRUE(isForeign(recording.file().cut(length))) << length;
    for (std::uint64_t length = media; length <= recording.file().size(); ++length) {
        SCOPED_TRACE(length);
        expectRead(recording.file().cut(length), recording, recording.tablesAfter(writes, length),
                   lastWholeEnd(recording, length));
        if (HasFailure()) return;
    }
}

TEST(UnfinishedMovieTests, ARoomThatIsBeingGrownIsOneRoom) {
    for (const std::uint64_t size : {2 * blockSize, 3 * blockSize, 16 * blockSize}) {
        SimulatedRecording recording(screenWithSounds(), size);
        recording.record(0, 2, 7);
        const HeadLayout before = recording.layout();
        const HeadLayout after = grown(before);
        const std::uint64_t more = after.media - before.media;
        ASSERT_GT(more, 0U);

        MemoryFile file = recording.file();
        file.write(prepareGrowth(before));
        expectRead(file, recording, recording.tables(), file.size());

        file.insert(prepareGrowth(before).offset, more);
        const auto moved = readBack(file);
        ASSERT_TRUE(moved);
        EXPECT_EQ(moved->layout, after);
        EXPECT_EQ(moved->mediaEnd, file.size());
        // The same samples at a larger offset.
        EXPECT_EQ(makeIndex(moved->description, moved->tracks, 0),
                  makeIndex(recording.description(), recording.tables(), static_cast<std::int64_t>(more)));

        file.write(roomHeader(after));
        const auto joined = readBack(file);
        ASSERT_TRUE(joined);
        EXPECT_EQ(joined->layout, after);
        EXPECT_TRUE(joined->tracks == moved->tracks);
    }
}

TEST(UnfinishedMovieTests, AnIndexBeingWrittenBehindTheMediaDoesNotCount) {
    SimulatedRecording recording(screenWithSounds());
    recording.record(0, 3, 9);
    const std::uint64_t mediaEnd = recording.file().size();
    const auto index = makeIndex(recording.description(), recording.tables(), 0);
    MemoryFile file = recording.file();
    for (std::size_t part = 0; part < index.size(); ++part) {
        file.bytes.push_back(index[part]);
        expectRead(file, recording, recording.tables(), mediaEnd);
        if (HasFailure()) return;
    }
    file.write(mediaHeader(recording.layout(), mediaEnd));
    expectRead(file, recording, recording.tables(), mediaEnd);
}

/// The fuzzer's corpus includes recordings of former versions.
TEST(UnfinishedMovieTests, TheFuzzersCorpusIsRead) {
    int read = 0;
    for (const auto& entry : std::filesystem::directory_iterator(LUMICRATE_FUZZ_CORPUS)) {
        std::ifstream stream(entry.path(), std::ios::binary);
        const MemoryFile file(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(stream), {}));
        const MovieReading reading = readUnfinishedMovie(file);
        const std::string name = entry.path().filename().string();
        const bool isRead = name.starts_with("finished-") ? std::holds_alternative<FinishedMovie>(reading)
                                                          : std::holds_alternative<UnfinishedMovie>(reading);
        // Movies of other programs are for the fuzzer only.
        EXPECT_TRUE(isRead || name.starts_with("damaged-") || name.starts_with("summary-")) << name;
        ++read;
    }
    EXPECT_GT(read, 10);
}

std::optional<MovieSummary> summaryOf(const ByteSource& file) {
    const SummaryReading reading = readMovieSummary(file);
    const auto* movie = std::get_if<MovieSummary>(&reading);
    return movie == nullptr ? std::nullopt : std::optional(*movie);
}

TEST(MovieSummaryTests, OurMoviesHaveTheSameSummaryFinishedOrNot) {
    for (const Brand brand : {Brand::mpeg4, Brand::quickTime}) {
        for (const double begin : {0.0, 3.0}) {
            SimulatedRecording recording(movie(brand, {screen(VideoCodec::hevc), sound("System", 2, 2112),
                                                       sound("Mic", 1, 1024), metadata()}),
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
                const auto found = summaryOf(file);
                ASSERT_TRUE(found);
                ASSERT_EQ(found->tracks.size(), 4U);
                EXPECT_EQ(found->tracks[3].mimeType, "application/x-test");
                const double ofMetadata = found->tracks[3].duration;
                EXPECT_TRUE(file.bytes == recording.file().bytes ||
                            std::abs(ofMetadata - found->duration) < 0.002);
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
    EXPECT_TRUE(summaryOf(counted));
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
    const double before = summaryOf(powerCut)->duration;
    powerCut.bytes.resize(powerCut.bytes.size() + 10'000);
    EXPECT_EQ(summaryOf(powerCut)->duration, before);
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
    ASSERT_TRUE(summaryOf(whole));

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
    EXPECT_EQ(summaryOf(unknown)->duration, summaryOf(whole)->duration);
    for (const std::string_view other : {"", "RIFF", "hello, world", "\x1a\x45\xdf\xa3 matroska"}) {
        const MemoryFile file({other.begin(), other.end()});
        EXPECT_TRUE(std::holds_alternative<NoMovie>(readMovieSummary(file))) << other;
    }
}

}  // namespace
}  // namespace lumicrate::isobmff::test
