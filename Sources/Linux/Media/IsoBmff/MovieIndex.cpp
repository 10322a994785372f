// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/MovieIndex.h"

#include "Linux/Media/IsoBmff/Fragment.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <string>

namespace lumicrate::isobmff {

namespace {

/// The language "und" (undetermined), five bits a letter.
constexpr std::uint32_t undetermined = 0x55c4;
constexpr std::uint32_t fixedOne = 0x10000;
constexpr std::uint32_t fullVolume = 0x100;

/// Which part of a track is presented and when, in ticks of its own clock.
struct Presentation {
    std::uint64_t delay = 0;     ///< before the first sample is presented
    std::uint64_t skip = 0;      ///< media before the first that is presented
    std::uint64_t duration = 0;  ///< of what is presented
    std::uint64_t media = 0;     ///< of all samples

    static Presentation of(const SampleTable& table) {
        const auto ticks = [](std::int64_t time) {
            return static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0));
        };
        const std::uint64_t media = table.duration();
        const std::int64_t first = std::max<std::int64_t>(table.start(), 0);
        return {ticks(table.start()), std::min(ticks(-table.start()), media),
                ticks(table.presentedEnd() - first), media};
    }
    /// For a movie in progress.
    static Presentation ofLeadIn(std::uint32_t ticks) { return {0, ticks, 0, 0}; }

    bool isWhole() const { return delay == 0 && skip == 0 && duration == media; }
    std::uint64_t inMovie(std::uint32_t timescale) const {
        return rescaled(delay, timescale, movieTimescale) + rescaled(duration, timescale, movieTimescale);
    }
};

bool needs64Bits(std::initializer_list<std::uint64_t> values) {
    return std::max(values) > std::numeric_limits<std::uint32_t>::max();
}

std::uint64_t dateOf(const MovieDescription& movie) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(movie.created + epochShift, 0));
}

void writeMatrix(BoxWriter& writer) {
    for (const std::uint32_t each : {fixedOne, 0U, 0U, 0U, fixedOne, 0U, 0U, 0U, 0x40000000U})
        writer.u32(each);
}

void writeMovieHeader(BoxWriter& writer, const MovieDescription& movie, std::uint64_t duration) {
    const std::uint64_t date = dateOf(movie);
    const bool large = needs64Bits({date, duration});
    const auto mvhd = writer.fullBox("mvhd", large ? 1 : 0);
    writer.wide(date, large);
    writer.wide(date, large);
    writer.u32(movieTimescale);
    writer.wide(duration, large);
    writer.u32(fixedOne);    // the rate
    writer.u16(fullVolume);  // the volume
    writer.zeros(10);
    writeMatrix(writer);
    writer.zeros(24);
    writer.u32(movie.tracks.size() + 1);  // number of the next track
}

/// 72 dots an inch as a 16.16 number; nothing uses it.
constexpr std::uint32_t resolution = 72U << 16;

void writeEntryHead(BoxWriter& writer) {
    writer.zeros(6);
    writer.u16(1);  // the data reference
}

void writeColors(BoxWriter& writer, Brand brand) {
    constexpr int bt709 = 1;
    const auto colr = writer.box("colr");
    writer.text(brand == Brand::quickTime ? "nclc" : "nclx");
    writer.u16(bt709);  // primaries
    writer.u16(bt709);  // transfer
    writer.u16(bt709);  // matrix
    // Video range, which "nclc" of QuickTime implies.
    if (brand != Brand::quickTime) writer.u8(0);
}

void writeVideoEntry(BoxWriter& writer, Brand brand, const VideoDescription& video) {
    const bool hevc = video.codec == VideoCodec::hevc;
    const auto entry = writer.box(hevc ? "hvc1" : "avc1");
    writeEntryHead(writer);
    writer.zeros(16);
    writer.u16(static_cast<std::uint64_t>(video.width));
    writer.u16(static_cast<std::uint64_t>(video.height));
    writer.u32(resolution);
    writer.u32(resolution);
    writer.u32(0);
    writer.u16(1);     // picture a sample
    writer.zeros(32);  // the compressor's name
    writer.u16(24);    // bits a pixel: color without alpha
    writer.u16(0xffff);
    {
        const auto configuration = writer.box(hevc ? "hvcC" : "avcC");
        writer.bytes(video.configuration);
    }
    writeColors(writer, brand);
    const auto pasp = writer.box("pasp");
    writer.u32(1);
    writer.u32(1);
}

/// The header of a descriptor of ISO/IEC 14496-1 of less than 128 bytes.
void beginDescriptor(BoxWriter& writer, int tag, std::size_t length) {
    writer.u8(static_cast<std::uint64_t>(tag));
    writer.u8(length);
}

void writeElementaryStream(BoxWriter& writer, const AudioDescription& audio) {
    const std::size_t specific = audio.configuration.size();
    const auto esds = writer.fullBox("esds");
    beginDescriptor(writer, 0x03, 3 + 2 + 13 + 2 + specific + 2 + 1);
    writer.u16(0);  // stream number: none within a file
    writer.u8(0);
    beginDescriptor(writer, 0x04, 13 + 2 + specific);
    writer.u8(0x40);  // MPEG-4 audio
    writer.u8(0x15);  // an audio stream
    writer.u24(0);    // decoder buffer size: unknown
    writer.u32(static_cast<std::uint64_t>(audio.bitRate));
    writer.u32(static_cast<std::uint64_t>(audio.bitRate));
    beginDescriptor(writer, 0x05, specific);
    writer.bytes(audio.configuration);
    beginDescriptor(writer, 0x06, 1);
    writer.u8(0x02);  // reserved for MP4 files
}

/// Compressed sound in QuickTime: a description of version 1 with the decoder configuration in "wave".
void writeQuickTimeSound(BoxWriter& writer, const AudioDescription& audio) {
    writer.u32(aacFrameLength);
    writer.u32(0);  // bytes a packet, and a frame: they vary
    writer.u32(0);
    writer.u32(2);  // bytes a sample, uncompressed
    const auto wave = writer.box("wave");
    {
        const auto frma = writer.box("frma");
        writer.text("mp4a");
    }
    {
        const auto mp4a = writer.box("mp4a");
        writer.u32(0);
    }
    writeElementaryStream(writer, audio);
    writer.u32(boxHeaderSize);  // the terminator
    writer.u32(0);
}

void writeAudioEntry(BoxWriter& writer, Brand brand, const AudioDescription& audio) {
    const bool quickTime = brand == Brand::quickTime;
    const auto entry = writer.box("mp4a");
    writeEntryHead(writer);
    writer.u16(quickTime ? 1 : 0);
    writer.zeros(6);
    writer.u16(static_cast<std::uint64_t>(audio.channels));
    writer.u16(16);                      // bits a sample
    writer.u16(quickTime ? 0xfffe : 0);  // compressed, packets of varying size
    writer.u16(0);
    writer.u32(static_cast<std::uint64_t>(audio.sampleRate) << 16);
    if (quickTime) {
        writeQuickTimeSound(writer, audio);
    } else {
        writeElementaryStream(writer, audio);
    }
}

/// The box "stsd" with its one entry.
void writeSampleDescription(BoxWriter& writer, Brand brand, const TrackDescription& track) {
    const auto stsd = writer.fullBox("stsd");
    writer.u32(1);
    if (const auto* video = std::get_if<VideoDescription>(&track.media)) {
        writeVideoEntry(writer, brand, *video);
    } else {
        writeAudioEntry(writer, brand, std::get<AudioDescription>(track.media));
    }
}

/// Writes one track's part of the index.
class TrackWriter {
 public:
    TrackWriter(BoxWriter& writer, const MovieDescription& movie, std::size_t place,
                const Presentation& presentation)
        : writer_(writer),
          movie_(movie),
          track_(movie.tracks[place]),
          number_(place + 1),
          presentation_(presentation) {}

    /// `table` is null while the movie is in progress.
    void write(const SampleTable* table, std::int64_t shift) {
        const auto trak = writer_.box("trak");
        writeHeader();
        writeEdits(table == nullptr);
        if (table != nullptr && !track_.isVideo()) writeTitle();
        const auto mdia = writer_.box("mdia");
        writeMediaHeader();
        writeHandler();
        const auto minf = writer_.box("minf");
        writeMediaInformation();
        const auto stbl = writer_.box("stbl");
        writeSampleDescription(writer_, movie_.brand, track_);
        (table != nullptr ? *table : SampleTable()).writeTo(writer_, shift);
        if (!track_.isVideo()) writeRoll(table);
    }

 private:
    bool quickTime() const { return movie_.brand == Brand::quickTime; }

    void writeHeader() {
        constexpr std::uint32_t enabledAndInMovie = 3;
        const std::uint64_t date = dateOf(movie_);
        const std::uint64_t duration = presentation_.inMovie(track_.timescale);
        const bool large = needs64Bits({date, duration});
        const auto tkhd = writer_.fullBox("tkhd", large ? 1 : 0, enabledAndInMovie);
        writer_.wide(date, large);
        writer_.wide(date, large);
        writer_.u32(number_);
        writer_.u32(0);
        writer_.wide(duration, large);
        writer_.zeros(12);
        writer_.u16(track_.isVideo() ? 0 : fullVolume);
        writer_.zeros(2);
        writeMatrix(writer_);
        const auto* video = std::get_if<VideoDescription>(&track_.media);
        writer_.u32(video != nullptr ? static_cast<std::uint64_t>(video->width) << 16 : 0);
        writer_.u32(video != nullptr ? static_cast<std::uint64_t>(video->height) << 16 : 0);
    }

    /// Cuts off what is not presented and delays a late track. While the movie is in progress the duration of
    /// the edit is unknown, written as 0.
    void writeEdits(bool isInProgress) {
        if (presentation_.isWhole()) return;
        const std::uint64_t delay = rescaled(presentation_.delay, track_.timescale, movieTimescale);
        const std::uint64_t duration =
            isInProgress ? 0 : rescaled(presentation_.duration, track_.timescale, movieTimescale);
        const bool large = needs64Bits({delay, duration, presentation_.skip});
        const auto edts = writer_.box("edts");
        const auto elst = writer_.fullBox("elst", large ? 1 : 0);
        writer_.u32(delay > 0 ? 2 : 1);
        if (delay > 0) writeEdit(delay, std::numeric_limits<std::uint64_t>::max(), large);
        writeEdit(duration, presentation_.skip, large);
    }

    void writeEdit(std::uint64_t duration, std::uint64_t mediaTime, bool large) {
        writer_.wide(duration, large);
        writer_.wide(mediaTime, large);
        writer_.u32(fixedOne);  // the rate
    }

    /// Players show this title, not the handler's name, to choose among tracks.
    void writeTitle() {
        const auto udta = writer_.box("udta");
        const auto name = writer_.box("name");
        writer_.text(track_.name);
    }

    void writeMediaHeader() {
        const std::uint64_t date = dateOf(movie_);
        const bool large = needs64Bits({date, presentation_.media});
        const auto mdhd = writer_.fullBox("mdhd", large ? 1 : 0);
        writer_.wide(date, large);
        writer_.wide(date, large);
        writer_.u32(track_.timescale);
        writer_.wide(presentation_.media, large);
        writer_.u16(undetermined);
        writer_.u16(0);
    }

    void writeHandler() { writeHandlerBox("mhlr", track_.isVideo() ? "vide" : "soun", track_.name); }

    /// `component` is for QuickTime only. QuickTime writes the name with its length in front, MPEG-4 with a
    /// zero behind.
    void writeHandlerBox(std::string_view component, std::string_view type, std::string_view name) {
        constexpr std::size_t maxCountedName = 255;
        const auto hdlr = writer_.fullBox("hdlr");
        if (quickTime()) {
            writer_.text(component);
        } else {
            writer_.u32(0);
        }
        writer_.text(type);
        writer_.zeros(12);
        if (quickTime()) {
            writer_.u8(std::min(name.size(), maxCountedName));
            writer_.text(name.substr(0, maxCountedName));
        } else {
            writer_.text(name);
            writer_.u8(0);
        }
    }

    void writeMediaInformation() {
        if (track_.isVideo()) {
            const auto vmhd = writer_.fullBox("vmhd", 0, 1);
            writer_.zeros(8);
        } else {
            const auto smhd = writer_.fullBox("smhd");
            writer_.zeros(4);
        }
        if (quickTime()) writeHandlerBox("dhlr", "url ", "");
        const auto dinf = writer_.box("dinf");
        const auto dref = writer_.fullBox("dref");
        writer_.u32(1);
        constexpr std::uint32_t inThisFile = 1;
        const auto url = writer_.fullBox("url ", 0, inThisFile);
    }

    /// A decoder that starts anywhere must start one AAC sample before the first one to be heard.
    void writeRoll(const SampleTable* table) {
        {
            const auto sgpd = writer_.fullBox("sgpd", 1);
            writer_.text("roll");
            writer_.u32(2);  // bytes an entry
            writer_.u32(1);
            writer_.u16(0xffff);  // one back
        }
        if (table == nullptr) return;
        writeRollGroup(writer_, table->sampleCount());
    }

    BoxWriter& writer_;
    const MovieDescription& movie_;
    const TrackDescription& track_;
    std::size_t number_;
    Presentation presentation_;
};

void writeFragmentDefaults(BoxWriter& writer, const MovieDescription& movie) {
    const auto mvex = writer.box("mvex");
    for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
        const bool video = movie.tracks[i].isVideo();
        const auto trex = writer.fullBox("trex");
        writer.u32(i + 1);
        writer.u32(1);  // the sample description
        writer.u32(video ? 0 : aacFrameLength);
        writer.u32(0);  // every sample has its own size
        writer.u32(video ? otherSampleFlags : keySampleFlags);
    }
}

}  // namespace

std::uint64_t rescaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to) {
    // In two parts, so that it cannot overflow.
    const std::uint64_t whole = ticks / from;
    const std::uint64_t rest = ticks % from;
    return whole * to + (rest * to + from / 2) / from;
}

std::vector<std::uint8_t> makeEmptyIndex(const MovieDescription& movie) {
    BoxWriter writer;
    {
        const auto moov = writer.box("moov");
        writeMovieHeader(writer, movie, 0);
        for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
            const auto presentation = Presentation::ofLeadIn(movie.tracks[i].leadIn);
            TrackWriter(writer, movie, i, presentation).write(nullptr, 0);
        }
        writeFragmentDefaults(writer, movie);
    }
    return writer.take();
}

std::vector<std::uint8_t> makeIndex(const MovieDescription& movie, std::span<const SampleTable> tables,
                                    std::int64_t shift) {
    std::uint64_t duration = 0;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        if (tables[i].isEmpty()) continue;
        duration = std::max(duration, Presentation::of(tables[i]).inMovie(movie.tracks[i].timescale));
    }
    BoxWriter writer;
    {
        const auto moov = writer.box("moov");
        writeMovieHeader(writer, movie, duration);
        for (std::size_t i = 0; i < tables.size(); ++i) {
            if (tables[i].isEmpty()) continue;
            TrackWriter(writer, movie, i, Presentation::of(tables[i])).write(&tables[i], shift);
        }
    }
    return writer.take();
}

}  // namespace lumicrate::isobmff
