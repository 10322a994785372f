// SPDX-License-Identifier: GPL-3.0-or-later
// SampleTable: positions and times of one track's samples.
//
// Compact, since a recording may last a day: four bytes a sample, and a few for every change of duration, key
// picture and chunk.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

struct Sample {
    std::uint32_t size = 0;      ///< bytes
    std::uint32_t duration = 0;  ///< ticks of the track's clock
    bool key = true;

    bool operator==(const Sample&) const = default;
};

class SampleTable {
 public:
    /// Adds samples that lie one behind the other in the file from `offset` on. The first is presented at
    /// `time`, ticks from the movie's beginning, which must be later than the last sample so far; that one
    /// lasts until `time`.
    void addRun(std::uint64_t offset, std::int64_t time, std::span<const Sample> samples);
    /// In ticks. The table must not be empty.
    void setLastDuration(std::uint32_t duration) { lastDuration_ = duration; }
    /// The last sample lasts at least until this time. The table must not be empty.
    void lastUntil(std::int64_t time);
    /// Nothing is presented from this time on.
    void endPresentation(std::int64_t time) { presentedUntil_ = time; }

    bool isEmpty() const { return sizes_.empty(); }
    std::size_t sampleCount() const { return sizes_.size(); }
    /// When the first sample is presented; ticks from the movie's beginning, negative for a lead-in.
    std::int64_t start() const { return start_; }
    /// Beginning and end of the last sample.
    std::int64_t lastTime() const { return lastTime_; }
    std::int64_t end() const { return lastTime_ + lastDuration_; }
    /// The end of the presentation, at the latest that of the last sample.
    std::int64_t presentedEnd() const { return std::min(end(), presentedUntil_.value_or(end())); }
    /// Of all samples, ticks.
    std::uint64_t duration() const { return static_cast<std::uint64_t>(end() - start_); }

    /// The boxes "stts", "stss", "stsc", "stsz" and "stco" or "co64". `shift` is added to every offset.
    void writeTo(BoxWriter& writer, std::int64_t shift) const;

    bool operator==(const SampleTable&) const = default;

 private:
    struct Durations {
        std::uint32_t count = 0;
        std::uint32_t duration = 0;
        bool operator==(const Durations&) const = default;
    };
    struct Chunk {
        std::uint64_t offset = 0;
        std::uint32_t samples = 0;
        bool operator==(const Chunk&) const = default;
    };

    void append(std::int64_t time, const Sample& sample);
    void writeDurations(BoxWriter& writer) const;
    void writeKeys(BoxWriter& writer) const;
    void writeChunks(BoxWriter& writer, std::int64_t shift) const;

    std::vector<std::uint32_t> sizes_;
    /// Durations of all samples but the last.
    std::vector<Durations> durations_;
    /// Numbers of the key samples, counted from 1.
    std::vector<std::uint32_t> keys_;
    std::vector<Chunk> chunks_;
    std::int64_t start_ = 0;
    std::int64_t lastTime_ = 0;
    std::uint32_t lastDuration_ = 0;
    std::optional<std::int64_t> presentedUntil_;
};

}  // namespace lumicrate::isobmff
