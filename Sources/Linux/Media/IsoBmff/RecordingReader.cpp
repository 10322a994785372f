// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/RecordingReader.h"

#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/IsoBmff/SampleEntry.h"

#include <algorithm>
#include <limits>
#include <string>

namespace lumicrate::isobmff {

namespace {

/// An AudioSpecificConfig has a few bytes; a long one is damaged.
constexpr std::size_t maxAudioConfiguration = 64;

std::vector<std::uint8_t> allOf(BoxReader reader) {
    const auto content = reader.bytes(reader.remaining());
    return {content.begin(), content.end()};
}

std::int64_t readCreated(const BoxReader& moov) {
    BoxReader mvhd = moov.child("mvhd");
    const FullBoxHeader header = mvhd.fullBoxHeader();
    require(header.version <= 1);
    const std::uint64_t date = mvhd.wide(header.version == 1);
    require(date <= std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(date) - epochShift;
}

/// One track's part of the index.
class TrackReader {
 public:
    TrackReader(Brand brand, const BoxReader& trak)
        : quickTime_(brand == Brand::quickTime), trak_(trak), mdia_(trak.child("mdia")) {}

    std::uint32_t number() const {
        BoxReader tkhd = trak_.child("tkhd");
        tkhd.skipDates();
        return tkhd.u32();
    }

    TrackDescription description() const {
        TrackDescription track;
        BoxReader hdlr = mdia_.child("hdlr");
        hdlr.skip(8);  // version, flags and component
        const FourCC type = hdlr.u32();
        hdlr.skip(12);
        track.name = readName(hdlr);
        track.timescale = readTimescale();
        track.leadIn = readLeadIn();
        const BoxReader entry = sampleEntry();
        if (type == fourCC("vide")) {
            track.media = readVideo(entry);
        } else if (type == fourCC("meta")) {
            track.media = readTextMetadataEntry(BoxReader(entry).box("mett"));
        } else {
            require(type == fourCC("soun"));
            track.media = readAudio(entry);
        }
        return track;
    }

 private:
    std::string readName(BoxReader hdlr) const {
        const std::size_t counted = quickTime_ ? hdlr.u8() : hdlr.remaining();
        const auto letters = hdlr.bytes(counted);
        return {letters.begin(), std::find(letters.begin(), letters.end(), 0)};
    }

    std::uint32_t readTimescale() const {
        BoxReader mdhd = mdia_.child("mdhd");
        mdhd.skipDates();
        const std::uint32_t timescale = mdhd.u32();
        require(timescale > 0);
        return timescale;
    }

    /// The start of the only edit.
    std::uint32_t readLeadIn() const {
        const auto edts = trak_.find("edts");
        if (!edts) return 0;
        BoxReader elst = edts->child("elst");
        const FullBoxHeader header = elst.fullBoxHeader();
        require(header.version <= 1);
        require(elst.u32() == 1);
        elst.wide(header.version == 1);
        const std::uint64_t mediaTime = elst.wide(header.version == 1);
        require(mediaTime <= std::numeric_limits<std::uint32_t>::max());
        return static_cast<std::uint32_t>(mediaTime);
    }

    /// The only sample entry, with its header.
    BoxReader sampleEntry() const {
        BoxReader stsd = mdia_.child("minf").child("stbl").child("stsd");
        stsd.skip(4);
        require(stsd.u32() == 1);
        return stsd;
    }

    static VideoDescription readVideo(BoxReader entries) {
        Box entry = entries.box();
        const bool hevc = entry.type == fourCC("hvc1");
        require(hevc || entry.type == fourCC("avc1"));
        BoxReader& fields = entry.content;
        VideoDescription video;
        video.codec = hevc ? VideoCodec::hevc : VideoCodec::h264;
        fields.skip(24);
        video.width = fields.u16();
        video.height = fields.u16();
        require(video.width > 0 && video.height > 0);
        fields.skip(50);
        video.configuration = allOf(fields.child(hevc ? "hvcC" : "avcC"));
        return video;
    }

    AudioDescription readAudio(BoxReader entries) const {
        BoxReader fields = entries.box("mp4a");
        AudioDescription audio;
        fields.skip(16);
        audio.channels = fields.u16();
        require(audio.channels == 1 || audio.channels == 2);
        fields.skip(6);
        audio.sampleRate = static_cast<int>(fields.u32() >> 16);
        require(audio.sampleRate > 0);
        if (quickTime_) {
            fields.skip(16);  // fields of version 1
            fields = fields.child("wave");
        }
        readElementaryStream(fields.child("esds"), audio);
        return audio;
    }

    /// The content of the next descriptor of ISO/IEC 14496-1, which must have this tag. Ours have lengths of
    /// one byte.
    static BoxReader descriptor(BoxReader& reader, int tag) {
        require(reader.u8() == tag);
        const std::uint8_t length = reader.u8();
        require(length < 0x80);
        return BoxReader(reader.bytes(length));
    }

    static void readElementaryStream(BoxReader esds, AudioDescription& audio) {
        esds.skip(4);
        BoxReader stream = descriptor(esds, 0x03);
        stream.skip(3);
        BoxReader decoder = descriptor(stream, 0x04);
        decoder.skip(9);
        const std::uint32_t bitRate = decoder.u32();
        require(bitRate <= static_cast<std::uint32_t>(std::numeric_limits<int>::max()));
        audio.bitRate = static_cast<int>(bitRate);
        audio.configuration = allOf(descriptor(decoder, 0x05));
        require(audio.configuration.size() <= maxAudioConfiguration);
    }

    bool quickTime_;
    BoxReader trak_;
    BoxReader mdia_;
};

/// Whether the flags mark a sample at which decoding can begin.
bool isKey(std::uint32_t sampleFlags) {
    constexpr std::uint32_t nonSync = 0x00010000;
    return (sampleFlags & nonSync) == 0;
}

/// The defaults of the track with this number.
SampleDefaults readDefaults(BoxReader trex, std::size_t number) {
    trex.skip(4);
    require(trex.u32() == number);
    trex.skip(4);  // the sample description
    SampleDefaults defaults;
    defaults.duration = trex.u32();
    trex.skip(4);  // the size, which every fragment has
    defaults.key = isKey(trex.u32());
    return defaults;
}

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

FragmentIndex readFragment(std::span<const std::uint8_t> moof, std::uint64_t mediaSize,
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

bool announcesFragments(const BoxReader& moov) {
    return moov.find("mvex").has_value();
}

EmptyIndex readEmptyIndex(Brand brand, const BoxReader& moov) {
    EmptyIndex index;
    index.description.brand = brand;
    index.description.created = readCreated(moov);
    BoxReader defaults = moov.child("mvex");
    BoxReader boxes = moov;
    while (boxes.remaining() > 0) {
        const Box next = boxes.box();
        if (next.type != fourCC("trak")) continue;
        const TrackReader track(brand, next.content);
        index.description.tracks.push_back(track.description());
        require(track.number() == index.description.tracks.size());
        index.defaults.push_back(readDefaults(defaults.box("trex"), index.description.tracks.size()));
    }
    require(!index.defaults.empty());
    return index;
}

std::optional<FragmentIndex> readFragmentIndex(std::span<const std::uint8_t> moof, std::uint64_t mediaSize,
                                               std::span<const SampleDefaults> tracks) {
    try {
        return readFragment(moof, mediaSize, tracks);
    } catch (const Malformed&) {
        return std::nullopt;
    }
}

}  // namespace lumicrate::isobmff
