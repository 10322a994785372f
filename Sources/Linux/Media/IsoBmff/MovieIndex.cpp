#include "Linux/Media/IsoBmff/MovieIndex.h"

#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/IsoBmff/SampleEntry.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <string>

namespace lumicrate::isobmff {

namespace {

/// "und", the language that is not told, five bits a letter.
constexpr std::uint32_t undetermined = 0x55c4;
constexpr std::uint32_t fixedOne = 0x10000;
constexpr std::uint32_t mixingUnit = 0x100;

/// When a track is presented, in ticks of its own clock.
struct Presentation {
    std::uint64_t delay = 0;     ///< nothing is presented for so long
    std::uint64_t skip = 0;      ///< samples that are not presented
    std::uint64_t duration = 0;  ///< of what is
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
    /// For a movie whose samples are still to come.
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
    writer.u16(mixingUnit);  // the volume
    writer.zeros(10);
    writeMatrix(writer);
    writer.zeros(24);
    writer.u32(movie.tracks.size() + 1);  // the next track's number
}

/// One track's part of the index.
class TrackWriter {
 public:
    TrackWriter(BoxWriter& writer, const MovieDescription& movie, std::size_t place,
                const Presentation& presentation)
        : writer_(writer),
          movie_(movie),
          track_(movie.tracks[place]),
          number_(place + 1),
          presentation_(presentation) {}

    /// `table` is none where the samples are still to come.
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
        writer_.u16(track_.isVideo() ? 0 : mixingUnit);
        writer_.zeros(2);
        writeMatrix(writer_);
        const auto* video = std::get_if<VideoDescription>(&track_.media);
        writer_.u32(video != nullptr ? static_cast<std::uint64_t>(video->width) << 16 : 0);
        writer_.u32(video != nullptr ? static_cast<std::uint64_t>(video->height) << 16 : 0);
    }

    /// Cuts away what is not presented and puts a late track where it belongs. While samples are still to
    /// come, the edit's duration is not known, which zero stands for.
    void writeEdits(bool open) {
        if (presentation_.isWhole()) return;
        const std::uint64_t delay = rescaled(presentation_.delay, track_.timescale, movieTimescale);
        const std::uint64_t duration =
            open ? 0 : rescaled(presentation_.duration, track_.timescale, movieTimescale);
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

    /// Players that let one choose among tracks show this, and not the handler's name.
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

    /// `component` is for QuickTime, which also counts the letters of the name where MPEG-4 ends it by a
    /// zero.
    void writeHandlerBox(std::string_view component, std::string_view type, std::string_view name) {
        constexpr std::size_t longestCounted = 255;
        const auto hdlr = writer_.fullBox("hdlr");
        if (quickTime()) {
            writer_.text(component);
        } else {
            writer_.u32(0);
        }
        writer_.text(type);
        writer_.zeros(12);
        if (quickTime()) {
            writer_.u8(std::min(name.size(), longestCounted));
            writer_.text(name.substr(0, longestCounted));
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

    /// A decoder that begins anywhere must begin one AAC sample before what is to be heard.
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
        writer.u32(0);  // sizes are told for each sample
        writer.u32(video ? otherSampleFlags : keySampleFlags);
    }
}

}  // namespace

std::uint64_t rescaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to) {
    // In two parts, so that no recording is too long.
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
