#include "Linux/Media/IsoBmff/FragmentReader.h"

#include "Linux/Media/IsoBmff/Fragment.h"

namespace lumicrate::isobmff {

namespace {

void readSamples(BoxReader trun, const SampleDefaults& defaults, FragmentRun& run) {
    const std::uint32_t flags = trun.fullBoxHeader().flags;
    require((flags & ~(runHasDurations | runHasFlags)) == (runHasDataOffset | runHasSizes));
    const bool durations = (flags & runHasDurations) != 0;
    const bool sampleFlags = (flags & runHasFlags) != 0;
    const std::size_t sampleSize = 4 + (durations ? 4 : 0) + (sampleFlags ? 4 : 0);

    const std::uint64_t count = trun.u32();
    run.offset = trun.u32();
    require(count > 0 && trun.remaining() == count * sampleSize);
    run.samples.resize(count);
    for (Sample& sample : run.samples) {
        sample.duration = durations ? trun.u32() : defaults.duration;
        sample.size = trun.u32();
        sample.key = sampleFlags ? isKey(trun.u32()) : defaults.key;
        run.size += sample.size;
        require(sample.duration > 0 || &sample == &run.samples.back());
    }
}

FragmentRun readRun(BoxReader traf, std::span<const SampleDefaults> tracks) {
    FragmentRun run;
    BoxReader tfhd = traf.box("tfhd");
    require(tfhd.fullBoxHeader().flags == offsetsFromFragment);
    const std::uint32_t number = tfhd.u32();
    require(number > 0 && number <= tracks.size());
    run.track = number - 1;

    BoxReader tfdt = traf.box("tfdt");
    require(tfdt.fullBoxHeader().version == 1);
    run.decodeTime = tfdt.u64();

    readSamples(traf.child("trun"), tracks[run.track], run);
    return run;
}

FragmentIndex read(std::span<const std::uint8_t> moof, std::uint64_t mediaSize,
                   std::span<const SampleDefaults> tracks) {
    FragmentIndex index;
    BoxReader boxes = BoxReader(moof).box("moof");
    BoxReader mfhd = boxes.box("mfhd");
    mfhd.skip(4);
    index.sequence = mfhd.u32();

    const std::uint64_t mediaStart = moof.size() + boxHeaderSize;
    std::uint64_t offset = mediaStart;
    while (boxes.remaining() > 0) {
        FragmentRun run = readRun(boxes.box("traf"), tracks);
        require(run.offset == offset);
        require(index.runs.empty() || run.track > index.runs.back().track);
        offset += run.size;
        index.runs.push_back(std::move(run));
    }
    const std::uint64_t mediaEnd = mediaStart + mediaSize;
    require(!index.runs.empty() && offset <= mediaEnd && mediaEnd - offset < fragmentAlignment);
    return index;
}

}  // namespace

std::optional<FragmentIndex> readFragmentIndex(std::span<const std::uint8_t> moof, std::uint64_t mediaSize,
                                               std::span<const SampleDefaults> tracks) {
    try {
        return read(moof, mediaSize, tracks);
    } catch (const Malformed&) {
        return std::nullopt;
    }
}

}  // namespace lumicrate::isobmff
