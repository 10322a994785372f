// SPDX-License-Identifier: GPL-3.0-or-later
// Reading files that are damaged, or that this recorder did not write. Random damage is Tests/Fuzz.
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <gtest/gtest.h>

#include <map>

namespace lumicrate::isobmff::test {
namespace {

/// A sparse file of any length; gaps are zero.
class SparseFile : public ByteSource {
 public:
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
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

 private:
    std::uint64_t size_ = 0;
    std::map<std::uint64_t, std::vector<std::uint8_t>> pieces_;
};

/// A fragment with a picture of this size, without its bytes.
std::vector<std::uint8_t> hugeFragment(std::uint32_t sequence, std::uint64_t time,
                                       std::uint32_t pictureSize) {
    const TrackRun run{0, false, time, {{4, 90000, sequence == 1}}, {1, 2, 3, 4}};
    Fragment fragment = makeFragment(sequence, std::span(&run, 1));
    MemoryFile bytes(std::move(fragment.bytes));
    const Fragment::Place& place = fragment.places.front();
    bytes.putNumber(place.lastDuration.value() + 4, pictureSize);
    bytes.putNumber(place.data - boxHeaderSize, pictureSize + boxHeaderSize);
    bytes.bytes.resize(place.data);
    return bytes.bytes;
}

TEST(DamagedMovieTests, OffsetsBeyondFourGibibytesAreRead) {
    constexpr std::uint32_t pictureSize = 0xc0000000;
    const Head head = makeHead(movie(Brand::mpeg4, {screen()}), testIdentifier, blockSize);
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

    const CountedFile counted(file);
    const auto found = readBack(counted);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->mediaEnd, end);
    ASSERT_EQ(found->tracks.size(), 1U);
    EXPECT_TRUE(found->tracks[0] == expected);
    EXPECT_LT(counted.bytesRead, 16384U) << "the media itself is not read";

    file.extendTo(end - 1);
    EXPECT_EQ(readBack(file)->tracks[0].sampleCount(), 3U);
}

TEST(DamagedMovieTests, HugeSizesTakeNoMemory) {
    constexpr std::uint64_t fileSize = 8ULL << 30;
    const Head head = makeHead(movie(Brand::mpeg4, {screen()}), testIdentifier, blockSize);
    MemoryFile begin(head.bytes);
    const auto withHeader = [&](std::uint64_t offset, std::string_view type) {
        MemoryFile changed = begin;
        changed.bytes.resize(std::max<std::size_t>(changed.bytes.size(), offset + boxHeaderSize));
        changed.putNumber(offset, 0xf0000000);
        changed.putNumber(offset + 4, fourCC(type));
        return changed.bytes;
    };
    for (const auto& bytes : {withHeader(head.layout.index, "moov"), withHeader(head.layout.room, "free"),
                              withHeader(head.layout.media, "moof"), withHeader(head.layout.media, "mdat")}) {
        SparseFile file;
        file.write(0, bytes);
        // What would follow the huge index of a fragment.
        file.write(head.layout.media + 0xf0000000, {0, 0, 0, 8, 'm', 'd', 'a', 't'});
        file.extendTo(fileSize);
        const CountedFile counted(file);
        readUnfinishedMovie(counted);
        EXPECT_LE(counted.largestRead, 4U << 20);
    }
}

/// A number in the third fragment of a recording that is changed by a difference, or set to zero.
struct Damage {
    std::string_view what;
    std::string_view box;
    std::uint64_t place;
    std::uint32_t difference;
    int occurrence = 0;
};

constexpr std::uint32_t less = 0xffffffff;
constexpr Damage fragmentDamages[]{
    {"mfhd type", "mfhd", 4, 1},
    {"an earlier sequence number", "mfhd", 12, less - 1},
    {"traf type", "traf", 4, 1},
    {"a traf beyond its moof", "traf", 0, 1000},
    {"a traf too short for its boxes", "traf", 0, less},
    {"a track number beyond all", "tfhd", 12, 7},
    {"track number zero", "tfhd", 12, less},
    {"a track twice", "tfhd", 12, less, 1},
    {"unknown flags of a track", "tfhd", 8, 1},
    {"an unknown version", "tfdt", 8, 0x02000000},
    {"an earlier time", "tfdt", 16, 0U - 90000},
    {"a time in years", "tfdt", 12, 0x10000000},
    {"a time beyond the longest duration", "tfdt", 12, 1},
    {"a negative time", "tfdt", 12, 0x80000000},
    {"one sample too many", "trun", 12, 1},
    {"billions of samples", "trun", 12, 0xfffffff0},
    {"offset before the media", "trun", 16, less},
    {"offset behind the media", "trun", 16, 1000},
    {"unknown fields", "trun", 8, 0x800},
    {"a sample without duration", "trun", 20, 0},
    {"a sample beyond the media", "trun", 24, 0x7f000000},
    {"a sample one byte too long", "trun", 24, 1},
};

TEST(DamagedMovieTests, OnlyTheDamagedFragmentIsLeftOut) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 4, 2);
    recording.finish();
    const auto whole = readBack(recording.file());
    ASSERT_TRUE(whole);
    const std::uint64_t third = recording.file().boxOffset("moof", recording.layout().media, 2);
    std::vector<SampleTable> expected(2);
    for (const MediaWrite& write : recording.writes()) {
        for (const MediaWrite::Run& run : write.runs) {
            if (write.bytes.offset != third) expected[run.track].addRun(run.offset, run.time, run.samples);
        }
    }
    expected[0].setLastDuration(
        static_cast<std::uint32_t>(whole->tracks[0].end() - whole->tracks[0].lastTime()));

    for (const Damage& damage : fragmentDamages) {
        SCOPED_TRACE(damage.what);
        MemoryFile file = recording.file();
        const std::uint64_t at = file.boxOffset(damage.box, third, damage.occurrence) + damage.place;
        file.putNumber(at, damage.difference == 0 ? 0 : file.numberAt(at) + damage.difference);
        const auto found = readBack(file);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->mediaEnd, file.size());
        EXPECT_TRUE(found->tracks == expected);
    }
}

TEST(DamagedMovieTests, UnknownDataBehindTheFragmentsIsNotCutOff) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 4, 2);
    const MemoryFile& good = recording.file();
    const std::uint64_t third = good.boxOffset("moof", recording.layout().media, 2);
    const std::uint64_t firstData = good.boxOffset("mdat", recording.layout().media);
    const std::vector<std::pair<std::uint64_t, std::uint64_t>> damages{
        {third, 2}, {third + 4, 2}, {firstData + 4, 0}, {recording.layout().media + 4, 0}};
    for (const auto& [offset, wholeFragments] : damages) {
        SCOPED_TRACE(offset);
        MemoryFile file = good;
        file.putNumber(offset, 0x7f7f7f7f);
        const auto found = readBack(file);
        ASSERT_TRUE(found);
        // A size beyond the end of the file also belongs to a fragment that was cut off.
        EXPECT_EQ(found->mediaEnd, offset == third ? third : file.size());
        const std::uint64_t readable = wholeFragments == 0 ? recording.layout().media : third;
        EXPECT_TRUE(found->tracks == readBack(good.cut(readable))->tracks);
    }
}

TEST(DamagedMovieTests, WithoutTheMarkAMovieIsForeign) {
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 2, 4);
    const MemoryFile& good = recording.file();
    const std::uint64_t mark = good.boxOffset("free");
    EXPECT_TRUE(isForeign(MemoryFile()));
    EXPECT_TRUE(isForeign(MemoryFile(std::vector<std::uint8_t>(100'000, 0))));
    for (const std::uint64_t offset : {std::uint64_t{0}, std::uint64_t{8}, mark, mark + boxHeaderSize}) {
        MemoryFile file = good;
        file.bytes[offset + 3] ^= 1;
        EXPECT_TRUE(isForeign(file)) << offset;
    }
}

TEST(DamagedMovieTests, AHeadThatCannotBeFinishedIsForeign) {
    EXPECT_TRUE(isForeign(SimulatedRecording(movie(Brand::mpeg4, {})).file())) << "no tracks";

    SimulatedRecording recording(screenAndSound());
    recording.record(0, 2, 4);
    const HeadLayout& layout = recording.layout();
    MemoryFile roomOff = recording.file();
    roomOff.putNumber(layout.room, static_cast<std::uint32_t>(layout.media - layout.room) + boxHeaderSize);
    roomOff.insert(layout.media, boxHeaderSize);
    EXPECT_TRUE(isForeign(roomOff)) << "media that is not at a block";

    const std::vector<std::pair<std::string_view, std::uint64_t>> damages{
        {"trak", 4}, {"mdia", 4},  {"hdlr", 16}, {"stsd", 12}, {"avc1", 4},  {"avcC", 4},
        {"esds", 4}, {"esds", 12}, {"mdhd", 20}, {"tkhd", 20}, {"trex", 12}, {"mvhd", 8}};
    for (const auto& [box, offset] : damages) {
        MemoryFile file = recording.file();
        file.putNumber(file.boxOffset(box, layout.index) + offset, box == "mdhd" ? 0 : 0x7f7f7f7f);
        EXPECT_TRUE(isForeign(file)) << box;
    }
}

TEST(DamagedMovieTests, UnreadableDataIsKept) {
    struct Unreadable : MemoryFile {
        Unreadable(const MemoryFile& file, std::uint64_t end) : MemoryFile(file), readable(end) {}
        bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
            return offset + into.size() <= readable && MemoryFile::read(offset, into);
        }
        std::uint64_t readable;
    };
    SimulatedRecording recording(screenAndSound());
    recording.record(0, 3, 4);
    const std::uint64_t third = recording.file().boxOffset("moof", recording.layout().media, 2);
    const auto found = readBack(Unreadable(recording.file(), third + 10));
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->tracks == readBack(recording.file().cut(third))->tracks);
    EXPECT_EQ(found->mediaEnd, recording.file().size());
    EXPECT_TRUE(isForeign(Unreadable(recording.file(), 100)));
}

}  // namespace
}  // namespace lumicrate::isobmff::test
