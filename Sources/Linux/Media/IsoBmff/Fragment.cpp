// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/Fragment.h"

#include <algorithm>

namespace lumicrate::isobmff {

namespace {

bool hasDurations(const TrackRun& run) {
    const auto isDefault = [](const Sample& sample) { return sample.duration == aacFrameLength; };
    return !run.sound || !std::all_of(run.samples.begin(), run.samples.end(), isDefault);
}

/// Writes the box "trun". Sets `dataOffset` to the position of the data offset, which is filled in later;
/// returns the position of the last sample's duration.
std::optional<std::size_t> writeRun(BoxWriter& writer, const TrackRun& run, std::size_t& dataOffset) {
    const bool durations = hasDurations(run);
    const auto trun = writer.fullBox(
        "trun", 0,
        runHasDataOffset | runHasSizes | (durations ? runHasDurations : 0) | (run.sound ? 0 : runHasFlags));
    writer.u32(run.samples.size());
    dataOffset = writer.position();
    writer.u32(0);
    std::optional<std::size_t> lastDuration;
    for (const Sample& sample : run.samples) {
        if (!run.sound) lastDuration = writer.position();
        if (durations) writer.u32(sample.duration);
        writer.u32(sample.size);
        if (!run.sound) writer.u32(sample.key ? keySampleFlags : otherSampleFlags);
    }
    return lastDuration;
}

std::optional<std::size_t> writeTrack(BoxWriter& writer, const TrackRun& run, std::size_t& dataOffset) {
    const auto traf = writer.box("traf");
    {
        const auto tfhd = writer.fullBox("tfhd", 0, offsetsFromFragment);
        writer.u32(run.track + 1);
    }
    {
        const auto tfdt = writer.fullBox("tfdt", 1);
        writer.u64(run.decodeTime);
    }
    if (run.sound) writeRollGroup(writer, run.samples.size());
    return writeRun(writer, run, dataOffset);
}

}  // namespace

Fragment makeFragment(std::uint32_t sequence, std::span<const TrackRun> runs) {
    BoxWriter writer;
    Fragment fragment;
    fragment.places.resize(runs.size());
    std::vector<std::size_t> dataOffsets(runs.size());
    {
        const auto moof = writer.box("moof");
        {
            const auto mfhd = writer.fullBox("mfhd");
            writer.u32(sequence);
        }
        for (std::size_t i = 0; i < runs.size(); ++i)
            fragment.places[i].lastDuration = writeTrack(writer, runs[i], dataOffsets[i]);
    }
    {
        const auto mdat = writer.box("mdat");
        for (std::size_t i = 0; i < runs.size(); ++i) {
            fragment.places[i].data = writer.position();
            writer.patch32(dataOffsets[i], static_cast<std::uint32_t>(writer.position()));
            writer.bytes(runs[i].data);
        }
        const std::size_t beyond = writer.position() % fragmentAlignment;
        if (beyond > 0) writer.zeros(fragmentAlignment - beyond);
    }
    fragment.bytes = writer.take();
    return fragment;
}

void writeRollGroup(BoxWriter& writer, std::size_t sampleCount) {
    const auto sbgp = writer.fullBox("sbgp");
    writer.text("roll");
    writer.u32(1);
    writer.u32(sampleCount);
    writer.u32(1);
}

}  // namespace lumicrate::isobmff
