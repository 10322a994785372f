// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <algorithm>
#include <limits>

namespace lumicrate::isobmff {

void SampleTable::addRun(std::uint64_t offset, std::int64_t time, std::span<const Sample> samples) {
    if (samples.empty()) return;
    chunks_.push_back({offset, static_cast<std::uint32_t>(samples.size())});
    for (const Sample& sample : samples) {
        append(time, sample);
        time += sample.duration;
    }
}

void SampleTable::lastUntil(std::int64_t time) {
    const std::int64_t most = std::numeric_limits<std::uint32_t>::max();
    lastDuration_ =
        static_cast<std::uint32_t>(std::clamp<std::int64_t>(time - lastTime_, lastDuration_, most));
}

void SampleTable::append(std::int64_t time, const Sample& sample) {
    if (isEmpty()) {
        start_ = time;
    } else {
        const auto duration = static_cast<std::uint32_t>(time - lastTime_);
        if (durations_.empty() || durations_.back().duration != duration) durations_.push_back({0, duration});
        ++durations_.back().count;
    }
    sizes_.push_back(sample.size);
    if (sample.key) keys_.push_back(static_cast<std::uint32_t>(sizes_.size()));
    lastTime_ = time;
    lastDuration_ = sample.duration;
}

void SampleTable::writeTo(BoxWriter& writer, std::int64_t shift) const {
    writeDurations(writer);
    writeKeys(writer);
    writeChunks(writer, shift);
}

void SampleTable::writeDurations(BoxWriter& writer) const {
    const auto stts = writer.fullBox("stts");
    const bool extendsRun = !durations_.empty() && durations_.back().duration == lastDuration_;
    const bool ownEntry = !isEmpty() && !extendsRun;
    writer.u32(durations_.size() + (ownEntry ? 1 : 0));
    for (std::size_t i = 0; i < durations_.size(); ++i) {
        const bool takesLast = extendsRun && i + 1 == durations_.size();
        writer.u32(durations_[i].count + (takesLast ? 1U : 0U));
        writer.u32(durations_[i].duration);
    }
    if (!ownEntry) return;
    writer.u32(1);
    writer.u32(lastDuration_);
}

/// Without the box, every sample is a key sample.
void SampleTable::writeKeys(BoxWriter& writer) const {
    if (keys_.size() == sizes_.size()) return;
    const auto stss = writer.fullBox("stss");
    writer.u32(keys_.size());
    for (const std::uint32_t key : keys_)
        writer.u32(key);
}

void SampleTable::writeChunks(BoxWriter& writer, std::int64_t shift) const {
    {
        const auto stsc = writer.fullBox("stsc");
        const std::size_t count = writer.position();
        std::uint32_t entries = 0;
        writer.u32(0);
        for (std::size_t i = 0; i < chunks_.size(); ++i) {
            if (i > 0 && chunks_[i].samples == chunks_[i - 1].samples) continue;
            writer.u32(i + 1);
            writer.u32(chunks_[i].samples);
            writer.u32(1);  // the sample description
            ++entries;
        }
        writer.patch32(count, entries);
    }
    {
        const auto stsz = writer.fullBox("stsz");
        writer.u32(0);  // sizes differ
        writer.u32(sizes_.size());
        for (const std::uint32_t size : sizes_)
            writer.u32(size);
    }
    const auto shifted = [shift](const Chunk& chunk) {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(chunk.offset) + shift);
    };
    const bool large = std::any_of(chunks_.begin(), chunks_.end(), [&](const Chunk& chunk) {
        return shifted(chunk) > std::numeric_limits<std::uint32_t>::max();
    });
    const auto offsets = writer.fullBox(large ? "co64" : "stco");
    writer.u32(chunks_.size());
    for (const Chunk& chunk : chunks_)
        writer.wide(shifted(chunk), large);
}

}  // namespace lumicrate::isobmff
