// SPDX-License-Identifier: GPL-3.0-or-later
// SimulatedRecording: a recording into memory, made by the code that makes real ones, which remembers every
// write.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/MovieFragmenter.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::isobmff::test {

class MemoryFile : public ByteSource {
 public:
    MemoryFile() = default;
    explicit MemoryFile(std::vector<std::uint8_t> content) : bytes(std::move(content)) {}

    std::uint64_t size() const override { return bytes.size(); }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override;

    void write(const Placed& placed);
    /// The first `length` bytes.
    MemoryFile cut(std::uint64_t length) const;
    /// Inserts zeros.
    void insert(std::uint64_t offset, std::uint64_t length);
    std::uint32_t numberAt(std::uint64_t offset) const;
    void putNumber(std::uint64_t offset, std::uint32_t value);
    /// Where the `occurrence`-th box of a type begins, at or behind `from`. Throws if there is none.
    std::uint64_t boxOffset(std::string_view type, std::uint64_t from = 0, int occurrence = 0) const;

    std::vector<std::uint8_t> bytes;
};

/// Counts what is read.
class CountedFile final : public ByteSource {
 public:
    explicit CountedFile(const ByteSource& file) : file_(file) {}
    std::uint64_t size() const override { return file_.size(); }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
        largestRead = std::max<std::uint64_t>(largestRead, into.size());
        bytesRead += into.size();
        return file_.read(offset, into);
    }

    mutable std::uint64_t largestRead = 0;
    mutable std::uint64_t bytesRead = 0;

 private:
    const ByteSource& file_;
};

inline constexpr MovieIdentifier testIdentifier{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255};

TrackDescription screen(VideoCodec codec = VideoCodec::h264);
/// `leadIn` in ticks of 1/48000 s.
TrackDescription sound(const std::string& name, int channels, std::uint32_t leadIn);
MovieDescription movie(Brand brand, std::vector<TrackDescription> tracks);

class SimulatedRecording {
 public:
    explicit SimulatedRecording(const MovieDescription& movie, std::uint64_t headSize = blockSize);
    SimulatedRecording(const SimulatedRecording&) = delete;
    SimulatedRecording& operator=(const SimulatedRecording&) = delete;

    /// A sample of `size` bytes; the other parameters as in MovieFragmenter.
    void add(std::size_t track, std::uint32_t size, std::int64_t time, std::uint32_t duration, bool key);
    void extendTo(double second) { fragmenter_.extendTo(second); }
    void finish() { fragmenter_.finish(); }
    /// Records all tracks from second `begin` to `end`: pictures at random times, and sound without gaps.
    void record(double begin, double end, std::uint32_t seed);

    const MovieDescription& description() const { return description_; }
    const HeadLayout& layout() const { return layout_; }
    const MemoryFile& file() const { return file_; }
    /// All that was written behind the head, in order.
    const std::vector<MediaWrite>& writes() const { return writes_; }
    /// The file after the first `writes` writes.
    MemoryFile fileAfter(std::size_t writes) const;

    /// The samples that the first `writes` writes put into a file of at most this length; a fragment that
    /// does not fit is left out.
    std::vector<SampleTable> tablesAfter(std::size_t writes, std::uint64_t length) const;
    std::vector<SampleTable> tables() const { return tablesAfter(writes_.size(), file_.size()); }

 private:
    MovieDescription description_;
    HeadLayout layout_;
    std::vector<std::uint8_t> head_;
    MemoryFile file_;
    std::vector<MediaWrite> writes_;
    MovieFragmenter fragmenter_;
};

/// What readUnfinishedMovie() finds, if it is an unfinished movie.
std::optional<UnfinishedMovie> readBack(const ByteSource& file);
bool isForeign(const ByteSource& file);

/// The index in the room.
Placed indexInRoom(const SimulatedRecording& recording);
/// The three forms of a finished file.
MemoryFile finishedInRoom(const SimulatedRecording& recording);
MemoryFile finishedByCopy(const SimulatedRecording& recording);
MemoryFile finishedBehind(const SimulatedRecording& recording);

}  // namespace lumicrate::isobmff::test
