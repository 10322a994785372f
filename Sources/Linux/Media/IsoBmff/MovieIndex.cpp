// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/MovieIndex.h"

#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/IsoBmff/SampleEntry.h"

#include <algorithm>
#include <array>
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
    /// Its end, from ticks of the track's clock to those of another.
    std::uint64_t in(std::uint32_t clock, std::uint32_t timescale) const {
        return rescaled(delay, timescale, clock) + rescaled(duration, timescale, clock);
    }
};

bool needs64Bits(std::initializer_list<std::uint64_t> values) {
    return std::max(values) > std::numeric_limits<std::uint32_t>::max();
}

/// `created` is in seconds since 1970.
std::uint64_t dateOf(std::int64_t created) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(created + epochShift, 0));
}

void writeMatrix(BoxWriter& writer) {
    for (const std::uint32_t each : {fixedOne, 0U, 0U, 0U, fixedOne, 0U, 0U, 0U, 0x40000000U})
        writer.u32(each);
}

void writeMovieHeader(BoxWriter& writer, const MovieDescription& movie, std::uint64_t duration) {
    const std::uint64_t date = dateOf(movie.created);
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

/// The index that a track is a part of.
struct IndexFrame {
    Brand brand = Brand::mpeg4;
    std::uint64_t date = 0;
    std::uint32_t timescale = movieTimescale;

    static IndexFrame of(const MovieDescription& movie) { return {movie.brand, dateOf(movie.created)}; }
};

/// Writes one track's part of the index.
class TrackWriter {
 public:
    TrackWriter(BoxWriter& writer, const IndexFrame& frame, const TrackDescription& track,
                std::uint32_t number, const Presentation& presentation)
        : writer_(writer), frame_(frame), track_(track), number_(number), presentation_(presentation) {}

    /// `table` is null while the movie is in progress.
    void write(const SampleTable* table, std::int64_t shift) {
        const auto trak = writer_.box("trak");
        writeHeader();
        writeEdits(table == nullptr);
        if (table != nullptr && track_.isSound()) writeTitle();
        const auto mdia = writer_.box("mdia");
        writeMediaHeader();
        writeHandler();
        const auto minf = writer_.box("minf");
        writeMediaInformation();
        const auto stbl = writer_.box("stbl");
        writeSampleDescription(writer_, frame_.brand, track_);
        (table != nullptr ? *table : SampleTable()).writeTo(writer_, shift);
        if (track_.isSound()) writeRoll(table);
    }

 private:
    bool quickTime() const { return frame_.brand == Brand::quickTime; }

    void writeHeader() {
        constexpr std::uint32_t enabledAndInMovie = 3;
        const std::uint64_t date = frame_.date;
        const std::uint64_t duration = presentation_.in(frame_.timescale, track_.timescale);
        const bool large = needs64Bits({date, duration});
        const auto tkhd = writer_.fullBox("tkhd", large ? 1 : 0, track_.isMetadata() ? 0 : enabledAndInMovie);
        writer_.wide(date, large);
        writer_.wide(date, large);
        writer_.u32(number_);
        writer_.u32(0);
        writer_.wide(duration, large);
        writer_.zeros(12);
        writer_.u16(track_.isSound() ? fullVolume : 0);
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
        const std::uint64_t delay = rescaled(presentation_.delay, track_.timescale, frame_.timescale);
        const std::uint64_t duration =
            isInProgress ? 0 : rescaled(presentation_.duration, track_.timescale, frame_.timescale);
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
        const std::uint64_t date = frame_.date;
        const bool large = needs64Bits({date, presentation_.media});
        const auto mdhd = writer_.fullBox("mdhd", large ? 1 : 0);
        writer_.wide(date, large);
        writer_.wide(date, large);
        writer_.u32(track_.timescale);
        writer_.wide(presentation_.media, large);
        writer_.u16(undetermined);
        writer_.u16(0);
    }

    void writeHandler() {
        constexpr std::array<std::string_view, 3> types{"vide", "soun", "meta"};  // as in the variant
        writeHandlerBox("mhlr", types.at(track_.media.index()), track_.name);
    }

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
        } else if (track_.isSound()) {
            const auto smhd = writer_.fullBox("smhd");
            writer_.zeros(4);
        } else {
            const auto nmhd = writer_.fullBox("nmhd");
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
    IndexFrame frame_;
    const TrackDescription& track_;
    std::uint32_t number_;
    Presentation presentation_;
};

void writeFragmentDefaults(BoxWriter& writer, const MovieDescription& movie) {
    const auto mvex = writer.box("mvex");
    for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
        const bool sound = movie.tracks[i].isSound();
        const auto trex = writer.fullBox("trex");
        writer.u32(i + 1);
        writer.u32(1);  // the sample description
        writer.u32(sound ? aacFrameLength : 0);
        writer.u32(0);  // every sample has its own size
        writer.u32(sound ? keySampleFlags : otherSampleFlags);
    }
}

/// That of the longest track that is not metadata.
std::uint64_t durationOf(const MovieDescription& movie, std::span<const SampleTable> tables) {
    std::uint64_t duration = 0;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        const TrackDescription& track = movie.tracks[i];
        if (tables[i].isEmpty() || track.isMetadata()) continue;
        duration = std::max(duration, Presentation::of(tables[i]).in(movieTimescale, track.timescale));
    }
    return duration;
}

/// The last sample lasts until the end of the movie, and nothing is presented after it; `duration` is in
/// ticks of the movie's clock.
void writeMetadata(BoxWriter& writer, const IndexFrame& frame, const TrackDescription& track,
                   std::uint32_t number, SampleTable table, std::uint64_t duration, std::int64_t shift) {
    const auto end = static_cast<std::int64_t>(rescaled(duration, frame.timescale, track.timescale));
    if (table.isEmpty() || table.start() >= end) return;
    table.lastUntil(end);
    table.endPresentation(end);
    TrackWriter(writer, frame, track, number, Presentation::of(table)).write(&table, shift);
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
            TrackWriter(writer, IndexFrame::of(movie), movie.tracks[i], static_cast<std::uint32_t>(i + 1),
                        presentation)
                .write(nullptr, 0);
        }
        writeFragmentDefaults(writer, movie);
    }
    return writer.take();
}

std::vector<std::uint8_t> makeIndex(const MovieDescription& movie, std::span<const SampleTable> tables,
                                    std::int64_t shift) {
    const std::uint64_t duration = durationOf(movie, tables);
    BoxWriter writer;
    {
        const auto moov = writer.box("moov");
        writeMovieHeader(writer, movie, duration);
        for (std::size_t i = 0; i < tables.size(); ++i) {
            const TrackDescription& track = movie.tracks[i];
            const auto number = static_cast<std::uint32_t>(i + 1);
            if (track.isMetadata()) {
                writeMetadata(writer, IndexFrame::of(movie), track, number, tables[i], duration, shift);
            } else if (!tables[i].isEmpty()) {
                TrackWriter(writer, IndexFrame::of(movie), track, number, Presentation::of(tables[i]))
                    .write(&tables[i], shift);
            }
        }
    }
    return writer.take();
}

std::vector<std::uint8_t> makeMetadataTrack(const TrackDescription& track, const SampleTable& table,
                                            const MetadataPlace& place) {
    BoxWriter writer;
    writeMetadata(writer, {place.brand, dateOf(place.created), place.timescale}, track, place.number, table,
                  place.duration, 0);
    return writer.take();
}

}  // namespace lumicrate::isobmff
