// SPDX-License-Identifier: GPL-3.0-or-later
// SimulatedRecording: a recording into memory, made by the code that makes real ones, which remembers every
// write.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/MovieFragmenter.h"
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::isobmff::test {

class MemoryFile : public ByteSource {
 public:
    MemoryFile() = default;
    explicit MemoryFile(std::vector<std::uint8_t> content) : bytes(std::move(content)) {}

    std::uint64_t size() const override { return bytes.size(); }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
        if (offset > bytes.size() || into.size() > bytes.size() - offset) return false;
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), into.size(), into.begin());
        return true;
    }

    void write(const Placed& placed) {
        bytes.resize(std::max<std::size_t>(bytes.size(), placed.offset + placed.bytes.size()));
        std::copy(placed.bytes.begin(), placed.bytes.end(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(placed.offset));
    }
    /// The first `length` bytes.
    MemoryFile cut(std::uint64_t length) const {
        return MemoryFile({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
    }
    /// Inserts zeros.
    void insert(std::uint64_t offset, std::uint64_t length) {
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, 0);
    }
    std::uint32_t numberAt(std::uint64_t offset) const {
        return BoxReader(std::span(bytes).subspan(offset)).u32();
    }
    void putNumber(std::uint64_t offset, std::uint32_t value) {
        BoxWriter number;
        number.u32(value);
        write({offset, number.take()});
    }
    /// Where the `occurrence`-th box of a type begins, at or behind `from`. Throws if there is none.
    std::uint64_t boxOffset(std::string_view type, std::uint64_t from = 0, int occurrence = 0) const {
        for (std::uint64_t at = from + 4; at + 4 <= size(); ++at) {
            if (numberAt(at) == fourCC(type) && occurrence-- == 0) return at - 4;
        }
        throw std::runtime_error("There is no box " + std::string(type));
    }

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

inline TrackDescription screen(VideoCodec codec = VideoCodec::h264) {
    TrackDescription track;
    const std::vector<std::uint8_t> configuration{1, 0x64, 0, 0x28, 0xff, 0xe1, 0, 2, 0x67, 0x64};
    track.media = VideoDescription{codec, 1920, 1080, configuration};
    track.name = "Screen";
    track.timescale = 90000;
    return track;
}
/// `leadIn` in ticks of 1/48000 s.
inline TrackDescription sound(const std::string& name, int channels, std::uint32_t leadIn) {
    TrackDescription track;
    const std::vector<std::uint8_t> configuration{0x11, static_cast<std::uint8_t>(channels << 3)};
    track.media = AudioDescription{48000, channels, 96000 * channels, configuration};
    track.name = name;
    track.timescale = 48000;
    track.leadIn = leadIn;
    return track;
}
inline TrackDescription metadata() {
    return {MetadataDescription{"application/x-test"}, "Data", 90000, 0};
}
inline MovieDescription movie(Brand brand, std::vector<TrackDescription> tracks) {
    return {brand, 1'780'000'000, std::move(tracks)};
}

inline MovieDescription screenAndSound() {
    return movie(Brand::mpeg4, {screen(), sound("System", 2, 2112)});
}

class SimulatedRecording {
 public:
    explicit SimulatedRecording(const MovieDescription& movie, std::uint64_t headSize = blockSize)
        : description_(movie),
          layout_(makeHead(movie, testIdentifier, headSize).layout),
          head_(makeHead(movie, testIdentifier, headSize).bytes),
          file_(head_),
          fragmenter_(movie, layout_.media, [this](const MediaWrite& write) {
              file_.write(write.bytes);
              writes_.push_back(write);
          }) {}
    SimulatedRecording(const SimulatedRecording&) = delete;
    SimulatedRecording& operator=(const SimulatedRecording&) = delete;

    /// A sample of `size` bytes; the other parameters as in MovieFragmenter.
    void add(std::size_t track, std::uint32_t size, std::int64_t time, std::uint32_t duration, bool key) {
        std::vector<std::uint8_t> data(size);
        for (std::size_t i = 0; i < data.size(); ++i)
            data[i] = static_cast<std::uint8_t>(static_cast<std::size_t>(time) + 31 * i);
        fragmenter_.add(track, data, time, duration, key);
    }
    void extendTo(double second) { fragmenter_.extendTo(second); }
    void finish() { fragmenter_.finish(); }
    /// Records all tracks from second `begin` to `end`: pictures at random times, and sound without gaps.
    void record(double begin, double end, std::uint32_t seed) {
        std::mt19937 random(seed);
        std::multimap<double, std::function<void()>> samples;  // by second
        for (std::size_t i = 0; i < description_.tracks.size(); ++i) {
            const TrackDescription& track = description_.tracks[i];
            double second = begin - (track.isVideo() ? 0.0 : 1.0 * track.leadIn / track.timescale);
            for (std::uint32_t number = 0; second < end; ++number) {
                const std::int64_t time = std::llround(second * track.timescale);
                if (track.isVideo()) {
                    const auto size = static_cast<std::uint32_t>(20 + random() % 60);
                    samples.emplace(second, [=, this] { add(i, size, time, 3000, number % 10 == 0); });
                    second += 0.01 + static_cast<double>(random() % 400) / 1000;
                } else if (track.isMetadata()) {
                    samples.emplace(second, [=, this] { add(i, 30, time, 1, number % 3 == 0); });
                    second += 0.01 + static_cast<double>(random() % 2000) / 1000;
                } else {
                    samples.emplace(second,
                                    [=, this] { add(i, 5 + number % 7, time, aacFrameLength, true); });
                    second = static_cast<double>(time + aacFrameLength) / track.timescale;
                }
            }
        }
        for (const auto& [second, addSample] : samples) {
            addSample();
            extendTo(second);
        }
    }

    const MovieDescription& description() const { return description_; }
    const HeadLayout& layout() const { return layout_; }
    const MemoryFile& file() const { return file_; }
    /// All that was written behind the head, in order.
    const std::vector<MediaWrite>& writes() const { return writes_; }
    /// The file after the first `writes` writes.
    MemoryFile fileAfter(std::size_t writes) const {
        MemoryFile file(head_);
        for (std::size_t i = 0; i < writes; ++i)
            file.write(writes_[i].bytes);
        return file;
    }

    /// The samples that the first `writes` writes put into a file of at most this length; a fragment that
    /// does not fit is left out.
    std::vector<SampleTable> tablesAfter(std::size_t writes, std::uint64_t length) const {
        std::vector<SampleTable> tables(description_.tracks.size());
        for (std::size_t i = 0; i < writes; ++i) {
            const MediaWrite& write = writes_[i];
            if (write.bytes.offset + write.bytes.bytes.size() > length) continue;
            for (const MediaWrite::Run& run : write.runs)
                tables[run.track].addRun(run.offset, run.time, run.samples);
        }
        for (std::size_t i = 0; i < writes; ++i) {
            const auto& last = writes_[i].lastDuration;
            if (last && !tables[last->track].isEmpty() && tables[last->track].lastTime() == last->time)
                tables[last->track].setLastDuration(last->duration);
        }
        return tables;
    }
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
inline std::optional<UnfinishedMovie> readBack(const ByteSource& file) {
    const MovieReading reading = readUnfinishedMovie(file);
    const auto* found = std::get_if<UnfinishedMovie>(&reading);
    return found != nullptr ? std::optional(*found) : std::nullopt;
}
inline bool isForeign(const ByteSource& file) {
    return std::holds_alternative<ForeignFile>(readUnfinishedMovie(file));
}

/// The three forms of a finished file.
inline MemoryFile finishedInRoom(const SimulatedRecording& recording) {
    MemoryFile file = recording.file();
    const auto index = makeIndex(recording.description(), recording.tables(), 0);
    file.write(fillRoom(recording.layout(), index, file.size()).value());
    file.write(switchToFinished(recording.layout()));
    return file;
}
inline MemoryFile finishedByCopy(const SimulatedRecording& recording) {
    const MemoryFile& file = recording.file();
    MemoryFile copy(makeFinishedHead(recording.description(), testIdentifier, recording.tables(),
                                     recording.layout(), file.size()));
    const auto media = file.bytes.begin() + static_cast<std::ptrdiff_t>(recording.layout().media);
    copy.bytes.insert(copy.bytes.end(), media, file.bytes.end());
    return copy;
}
inline MemoryFile finishedBehind(const SimulatedRecording& recording) {
    MemoryFile file = recording.file();
    const std::uint64_t mediaEnd = file.size();
    file.write({mediaEnd, makeIndex(recording.description(), recording.tables(), 0)});
    file.write(mediaHeader(recording.layout(), mediaEnd));
    file.write(switchToFinishedBehind(recording.layout()));
    return file;
}

}  // namespace lumicrate::isobmff::test
