// SPDX-License-Identifier: GPL-3.0-or-later
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
    return movie(Brand::mpeg4, {screen(), sound("System Audio", 2, 2112), sound("Microphone", 1, 1024)});
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
        {"quickTime", movie(Brand::quickTime, {screen(VideoCodec::hevc), sound("Bildschirm-Ton", 2, 2112)})},
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
        EXPECT_TRUE(isRead || name.starts_with("damaged-")) << name;
        ++read;
    }
    EXPECT_GT(read, 10);
}

}  // namespace
}  // namespace lumicrate::isobmff::test
