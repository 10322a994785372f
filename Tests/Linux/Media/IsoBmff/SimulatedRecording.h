// SimulatedRecording: a recording into memory, made by what makes the real ones, which remembers what was
// recorded when.
#pragma once

#include "Linux/Media/IsoBmff/BoxReader.h"
#include "Linux/Media/IsoBmff/MovieFragmenter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::isobmff::test {

class MemoryFile : public ByteSource {
 public:
    MemoryFile() = default;
    explicit MemoryFile(std::vector<std::uint8_t> content) : bytes(std::move(content)) {}

    std::uint64_t size() const override { return bytes.size(); }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override;

    void write(const Placed& placed);
    /// The first `length` bytes alone.
    MemoryFile cut(std::uint64_t length) const;
    /// Zeros where bytes were, which move up.
    void insert(std::uint64_t offset, std::uint64_t length);

    std::vector<std::uint8_t> bytes;
};

inline constexpr MovieIdentifier testIdentifier{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255};

TrackDescription screen(VideoCodec codec = VideoCodec::h264);
/// `leadIn` in ticks, of which there are 48000 a second.
TrackDescription sound(const std::string& name, int channels, std::uint32_t leadIn);
MovieDescription movie(Brand brand, std::vector<TrackDescription> tracks);

class SimulatedRecording {
 public:
    explicit SimulatedRecording(const MovieDescription& movie, std::uint64_t headSize = blockSize);
    SimulatedRecording(const SimulatedRecording&) = delete;
    SimulatedRecording& operator=(const SimulatedRecording&) = delete;

    /// A sample of `size` bytes; the rest as MovieFragmenter has it.
    void add(std::size_t track, std::uint32_t size, std::int64_t time, std::uint32_t duration, bool key);
    void extendTo(double second) { fragmenter_.extendTo(second); }
    void finish() { fragmenter_.finish(); }
    /// Records all tracks from the second `begin` to `end`: pictures at times that follow from `seed`, and
    /// sound without gaps.
    void record(double begin, double end, std::uint32_t seed);

    const MovieDescription& description() const { return description_; }
    const HeadLayout& layout() const { return layout_; }
    const MemoryFile& file() const { return file_; }
    /// All that was written behind the head, in order.
    const std::vector<MediaWrite>& writes() const { return writes_; }
    /// The file when only the first so many writes had been done.
    MemoryFile fileAfter(std::size_t writes) const;

    /// What the first so many writes put into a file of this length at most; a fragment that does not fit is
    /// not there.
    std::vector<SampleTable> tablesAfter(std::size_t writes, std::uint64_t length) const;
    std::vector<SampleTable> tables() const { return tablesAfter(writes_.size(), file_.size()); }

 private:
    void recordPictures(std::size_t track, double begin, double end, std::uint32_t seed);
    void recordSound(std::size_t track, double begin, double end);

    struct PlannedSample {
        std::size_t track = 0;
        std::uint32_t size = 0;
        std::int64_t time = 0;
        std::uint32_t duration = 0;
        bool key = true;
        double second = 0;
    };

    MovieDescription description_;
    HeadLayout layout_;
    std::vector<std::uint8_t> head_;
    MemoryFile file_;
    std::vector<MediaWrite> writes_;
    std::vector<PlannedSample> planned_;
    MovieFragmenter fragmenter_;
};

/// A file whose room is filled with its index but not yet switched over, and the switch.
struct Finishing {
    MemoryFile file;
    Placed index;
    Placed switchOver;
};
Finishing finishing(const SimulatedRecording& recording);

/// The three forms of a finished file.
MemoryFile finishedInRoom(const SimulatedRecording& recording);
MemoryFile finishedByCopy(const SimulatedRecording& recording);
MemoryFile finishedBehind(const SimulatedRecording& recording);

}  // namespace lumicrate::isobmff::test
