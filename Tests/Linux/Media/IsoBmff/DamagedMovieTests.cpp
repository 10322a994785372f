// What reading makes of files that are not as they were written, or not of this recorder at all.
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>

namespace lumicrate::isobmff::test {

namespace {

std::optional<UnfinishedMovie> readBack(const ByteSource& file) {
    const MovieReading reading = readUnfinishedMovie(file);
    if (const auto* found = std::get_if<UnfinishedMovie>(&reading)) return *found;
    return std::nullopt;
}

bool isForeign(const ByteSource& file) {
    return std::holds_alternative<ForeignFile>(readUnfinishedMovie(file));
}

MovieDescription screenAndSound() {
    return movie(Brand::mpeg4, {screen(), sound("System", 2, 2112)});
}

std::uint32_t numberAt(const MemoryFile& file, std::uint64_t offset) {
    std::uint32_t value = 0;
    for (std::uint64_t i = 0; i < 4; ++i)
        value = value << 8 | file.bytes[offset + i];
    return value;
}

void putNumber(MemoryFile& file, std::uint64_t offset, std::uint32_t value) {
    for (std::uint64_t i = 0; i < 4; ++i)
        file.bytes[offset + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

/// Where the `occurrence`-th box of a type begins at or behind an offset.
std::uint64_t boxOffset(const MemoryFile& file, std::string_view type, std::uint64_t from,
                        int occurrence = 0) {
    for (std::uint64_t at = from + 4; at + 4 <= file.size(); ++at) {
        if (numberAt(file, at) == fourCC(type) && occurrence-- == 0) return at - 4;
    }
    ADD_FAILURE() << "no " << type;
    return 0;
}

/// A sparse file of any length; what nobody wrote is zero.
class SparseFile : public ByteSource {
 public:
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
        greatestRead = std::max<std::uint64_t>(greatestRead, into.size());
        bytesRead += into.size();
        if (offset > size_ || into.size() > size_ - offset) return false;
        std::fill(into.begin(), into.end(), std::uint8_t{0});
        for (const auto& [start, bytes] : pieces_) {
            for (std::uint64_t i = 0; i < bytes.size(); ++i) {
                if (start + i >= offset && start + i < offset + into.size())
                    into[start + i - offset] = bytes[i];
            }
        }
        return true;
    }
    void write(std::uint64_t offset, std::vector<std::uint8_t> bytes) {
        size_ = std::max<std::uint64_t>(size_, offset + bytes.size());
        pieces_[offset] = std::move(bytes);
    }
    void extendTo(std::uint64_t size) { size_ = size; }

    mutable std::uint64_t greatestRead = 0;
    mutable std::uint64_t bytesRead = 0;

 private:
    std::uint64_t size_ = 0;
    std::map<std::uint64_t, std::vector<std::uint8_t>> pieces_;
};

/// A fragment of one picture of so many bytes, which are not there.
std::vector<std::uint8_t> hugeFragment(std::uint32_t sequence, std::uint64_t time,
                                       std::uint32_t pictureSize) {
    const TrackRun run{0, true, time, {{4, 90000, sequence == 1}}, {1, 2, 3, 4}};
    Fragment fragment = makeFragment(sequence, std::span(&run, 1));
    MemoryFile bytes(std::move(fragment.bytes));
    const Fragment::Place& place = fragment.places.front();
    putNumber(bytes, place.lastDuration.value() + 4, pictureSize);
    putNumber(bytes, place.data - boxHeaderSize, pictureSize + boxHeaderSize);
    bytes.bytes.resize(place.data);
    return bytes.bytes;
}

TEST(DamagedMovieTests, OffsetsBeyondFourGibibytesAreRead) {
    constexpr std::uint32_t pictureSize = 0xc0000000;
    const MovieDescription description = movie(Brand::mpeg4, {screen()});
    const Head head = makeHead(description, testIdentifier, blockSize);
    SparseFile file;
    file.write(0, head.bytes);
    SampleTable expected;
    std::uint64_t end = head.layout.media;
    for (std::uint32_t number = 1; number <= 4; ++number) {
        const auto fragment = hugeFragment(number, (number - 1) * 90000ULL, pictureSize);
        file.write(end, fragment);
        const Sample sample{pictureSize, 90000, number == 1};
        expected.addRun(end + fragment.size(), (number - 1) * 90000LL, std::span(&sample, 1));
        end += fragment.size() + pictureSize;
    }
    file.extendTo(end);

    const auto found = readBack(file);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->mediaEnd, end);
    ASSERT_EQ(found->tracks.size(), 1U);
    EXPECT_TRUE(found->tracks[0] == expected);
    EXPECT_LT(file.bytesRead, 16384U) << "the media itself is not read";

    file.extendTo(end - 1);
    EXPECT_EQ(readBack(file)->tracks[0].sampleCount(), 3U);
}

TEST(DamagedMovieTests, GreatClaimsTakeNoMemory) {
    constexpr std::uint64_t fileSize = 8ULL << 30;
    const Head head = makeHead(movie(Brand::mpeg4, {screen()}), testIdentifier, blockSize);
    MemoryFile begin(head.bytes);
    const auto withHeader = [&](std::uint64_t offset, std::string_view type) {
        MemoryFile changed = begin;
        changed.bytes.resize(std::max<std::size_t>(changed.bytes.size(), offset + boxHeaderSize));
        putNumber(changed, offset, 0xf0000000);
        putNumber(changed, offset + 4, fourCC(type));
        return changed.bytes;
    };
    for (const auto& bytes : {withHeader(head.layout.index, "moov"), withHeader(head.layout.room, "free"),
                              withHeader(head.layout.media, "moof"), withHeader(head.layout.media, "mdat")}) {
        SparseFile file;
        file.write(0, bytes);
        // What a fragment's great index would have behind it.
        file.write(head.layout.media + 0xf0000000, {0, 0, 0, 8, 'm', 'd', 'a', 't'});
        file.extendTo(fileSize);
        readUnfinishedMovie(file);
        EXPECT_LE(file.greatestRead, 4U << 20);
    }
}

/// A change to the third of a recording's fragments.
struct Damage {
    std::string_view what;
    std::function<void(MemoryFile&, std::uint64_t fragment)> apply;
};

std::vector<Damage> fragmentDamages() {
    const auto change = [](std::string_view box, std::uint64_t offset, std::uint32_t difference,
                           int occurrence = 0) {
        return [=](MemoryFile& file, std::uint64_t fragment) {
            const std::uint64_t at = boxOffset(file, box, fragment, occurrence) + offset;
            putNumber(file, at, numberAt(file, at) + difference);
        };
    };
    constexpr std::uint32_t less = 0xffffffff;
    return {
        {"mfhd type", change("mfhd", 4, 1)},
        {"a sequence number of the past", change("mfhd", 12, less - 1)},
        {"traf type", change("traf", 4, 1)},
        {"a traf beyond its moof", change("traf", 0, 1000)},
        {"a traf too short for its boxes", change("traf", 0, less)},
        {"a track number beyond all", change("tfhd", 12, 7)},
        {"track number zero", change("tfhd", 12, less)},
        {"a track twice", change("tfhd", 12, less, 1)},
        {"unknown flags of a track", change("tfhd", 8, 1)},
        {"a version that is not known", change("tfdt", 8, 0x02000000)},
        {"a time of the past", change("tfdt", 16, 0U - 90000)},
        {"a time in years", change("tfdt", 12, 0x10000000)},
        {"a time farther away than a sample can last", change("tfdt", 12, 1)},
        {"a negative time", change("tfdt", 12, 0x80000000)},
        {"a sample more than there is", change("trun", 12, 1)},
        {"billions of samples", change("trun", 12, 0xfffffff0)},
        {"offset before the media", change("trun", 16, less)},
        {"offset behind the media", change("trun", 16, 1000)},
        {"fields that are not known", change("trun", 8, 0x800)},
        {"a sample beyond the media", change("trun", 24, 0x7f000000)},
        {"a sample longer than its bytes", change("trun", 24, 1)},
        {"a sample no longer than nothing",
         [](MemoryFile& file, std::uint64_t fragment) {
             putNumber(file, boxOffset(file, "trun", fragment) + 20, 0);
         }},
    };
}

TEST(DamagedMovieTests, ADamagedFragmentIsLeftOutAlone) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 4, 2);
    recording.finish();
    const auto whole = readBack(recording.file());
    ASSERT_TRUE(whole);
    const std::uint64_t third = boxOffset(recording.file(), "moof", recording.layout().media, 2);
    std::vector<SampleTable> expected(2);
    for (const MediaWrite& write : recording.writes()) {
        for (const MediaWrite::Run& run : write.runs) {
            if (write.bytes.offset != third) expected[run.track].addRun(run.offset, run.time, run.samples);
        }
    }
    expected[0].setLastDuration(
        static_cast<std::uint32_t>(whole->tracks[0].end() - whole->tracks[0].lastTime()));

    for (const Damage& damage : fragmentDamages()) {
        SCOPED_TRACE(damage.what);
        MemoryFile file = recording.file();
        damage.apply(file, third);
        const auto found = readBack(file);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->mediaEnd, file.size());
        EXPECT_TRUE(found->tracks == expected);
    }
}

TEST(DamagedMovieTests, WhatIsNotUnderstoodBehindTheFragmentsIsNotCutOff) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 4, 2);
    const MemoryFile& good = recording.file();
    const std::uint64_t third = boxOffset(good, "moof", recording.layout().media, 2);
    const std::uint64_t firstData = boxOffset(good, "mdat", recording.layout().media);
    const std::vector<std::pair<std::uint64_t, std::uint64_t>> damages{
        {third, 2}, {third + 4, 2}, {firstData + 4, 0}, {recording.layout().media + 4, 0}};
    for (const auto& [offset, wholeFragments] : damages) {
        SCOPED_TRACE(offset);
        MemoryFile file = good;
        putNumber(file, offset, 0x7f7f7f7f);
        const auto found = readBack(file);
        ASSERT_TRUE(found);
        // A size that reaches beyond the file is also what a fragment that was cut off has.
        EXPECT_EQ(found->mediaEnd, offset == third ? third : file.size());
        const std::uint64_t readable = wholeFragments == 0 ? recording.layout().media : third;
        EXPECT_TRUE(found->tracks == readBack(good.cut(readable))->tracks);
    }
}

/// However little is understood, the bytes of whole fragments are never taken for the end of the file.
TEST(DamagedMovieTests, UnreadableFragmentsAreKept) {
    SimulatedRecording recording(movie(Brand::mpeg4, {screen()}));
    recording.record(0, 4, 2);
    recording.finish();
    MemoryFile slow = recording.file();
    // A clock so slow that the recording would last for years, which makes all fragments unreadable.
    putNumber(slow, boxOffset(slow, "mdhd", 0) + boxHeaderSize + 12, 1);
    for (std::uint64_t at = recording.layout().media; at < slow.size();) {
        putNumber(slow, boxOffset(slow, "tfdt", at) + boxHeaderSize + 4, 1);
        at = boxOffset(slow, "mdat", at);
        at += numberAt(slow, at);
    }
    const auto found = readBack(slow);
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->tracks[0].isEmpty());
    EXPECT_EQ(found->mediaEnd, slow.size());

    MemoryFile lastDamaged = recording.file();
    std::uint64_t last = recording.layout().media;
    for (const MediaWrite& write : recording.writes()) {
        if (!write.runs.empty()) last = write.bytes.offset;
    }
    putNumber(lastDamaged, boxOffset(lastDamaged, "trun", last) + boxHeaderSize + 4, 77);
    EXPECT_EQ(readBack(lastDamaged)->mediaEnd, lastDamaged.size());
    EXPECT_TRUE(readBack(lastDamaged)->tracks == readBack(recording.file().cut(last))->tracks);
}

/// Whatever comes out of damaged bytes can be finished.
void expectUsable(const MemoryFile& file) {
    const auto found = readBack(file);
    if (!found) return;
    EXPECT_EQ(found->tracks.size(), found->description.tracks.size());
    EXPECT_GE(found->mediaEnd, found->layout.media);
    EXPECT_LE(found->mediaEnd, file.size());
    for (const SampleTable& table : found->tracks)
        EXPECT_GE(table.end(), table.start());
    EXPECT_FALSE(makeIndex(found->description, found->tracks, 0).empty());
}

TEST(DamagedMovieTests, NoFlippedByteDoesHarm) {
    for (const MovieDescription& description :
         {screenAndSound(), movie(Brand::quickTime, {screen(VideoCodec::hevc), sound("Sound", 1, 0)})}) {
        SimulatedRecording recording(description);
        recording.record(0, 1.5, 4);
        for (std::size_t at = 0; at < recording.file().size(); ++at) {
            if (at == recording.layout().room + boxHeaderSize) at = recording.layout().media;
            for (const std::uint8_t mask : {0x01, 0x80, 0xff}) {
                MemoryFile file = recording.file();
                file.bytes[at] ^= mask;
                expectUsable(file);
            }
        }
    }
}

TEST(DamagedMovieTests, WithoutTheMarkAMovieIsForeign) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 2, 4);
    const MemoryFile& good = recording.file();
    const std::uint64_t mark = boxOffset(good, "free", 0);
    EXPECT_TRUE(isForeign(MemoryFile()));
    EXPECT_TRUE(isForeign(MemoryFile(std::vector<std::uint8_t>(100'000, 0))));
    for (const std::uint64_t offset : {std::uint64_t{0}, std::uint64_t{8}, mark, mark + boxHeaderSize}) {
        MemoryFile file = good;
        file.bytes[offset + 3] ^= 1;
        EXPECT_TRUE(isForeign(file)) << offset;
    }
    MemoryFile unmarked = good;
    unmarked.bytes.erase(unmarked.bytes.begin() + static_cast<int>(mark),
                         unmarked.bytes.begin() + static_cast<int>(recording.layout().index));
    EXPECT_TRUE(isForeign(unmarked));
}

TEST(DamagedMovieTests, AHeadThatCannotBeFinishedIsForeign) {
    EXPECT_TRUE(isForeign(SimulatedRecording(movie(Brand::mpeg4, {})).file())) << "no tracks";

    SimulatedRecording recording(screenAndSound());
    recording.record(0, 2, 4);
    const HeadLayout& layout = recording.layout();
    MemoryFile roomOff = recording.file();
    putNumber(roomOff, layout.room, static_cast<std::uint32_t>(layout.media - layout.room) + boxHeaderSize);
    roomOff.insert(layout.media, boxHeaderSize);
    EXPECT_TRUE(isForeign(roomOff)) << "media that is not at a block";

    const std::vector<std::pair<std::string_view, std::uint64_t>> damages{
        {"trak", 4}, {"mdia", 4},  {"hdlr", 16}, {"stsd", 12}, {"avc1", 4},  {"avcC", 4},
        {"esds", 4}, {"esds", 12}, {"mdhd", 20}, {"tkhd", 20}, {"trex", 12}, {"mvhd", 8}};
    for (const auto& [box, offset] : damages) {
        MemoryFile file = recording.file();
        putNumber(file, boxOffset(file, box, layout.index) + offset, box == "mdhd" ? 0 : 0x7f7f7f7f);
        EXPECT_TRUE(isForeign(file)) << box;
    }
}

TEST(DamagedMovieTests, OtherProgramsFragmentedMoviesAreForeign) {
    const lumicrate::test::TemporaryFolder folder;
    for (const std::string name : {"other.mp4", "other.mov"}) {
        const auto path = folder / name;
        stage::runProgram({"ffmpeg", "-loglevel", "error", "-nostdin", "-f", "lavfi", "-i",
                           "testsrc=s=64x48:r=10:d=2", "-c:v", "libx264", "-movflags",
                           "frag_keyframe+empty_moov+default_base_moof", path.string()});
        std::ifstream stream(path, std::ios::binary);
        const MemoryFile file(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(stream), {}));
        ASSERT_GT(file.size(), 1000U);
        EXPECT_TRUE(isForeign(file)) << name;
    }
}

TEST(DamagedMovieTests, WhatCannotBeReadIsKept) {
    class Unreadable : public ByteSource {
     public:
        Unreadable(const MemoryFile& file, std::uint64_t from) : file_(file), from_(from) {}
        std::uint64_t size() const override { return file_.size(); }
        bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
            return offset + into.size() <= from_ && file_.read(offset, into);
        }

     private:
        const MemoryFile& file_;
        std::uint64_t from_;
    };
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 3, 4);
    const std::uint64_t third = boxOffset(recording.file(), "moof", recording.layout().media, 2);
    const auto found = readBack(Unreadable(recording.file(), third + 10));
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->tracks == readBack(recording.file().cut(third))->tracks);
    EXPECT_EQ(found->mediaEnd, recording.file().size());
    EXPECT_TRUE(isForeign(Unreadable(recording.file(), 100)));
}

}  // namespace

}  // namespace lumicrate::isobmff::test
