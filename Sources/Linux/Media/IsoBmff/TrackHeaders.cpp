#include "Linux/Media/IsoBmff/TrackHeaders.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumicrate::isobmff {

namespace {

/// More than any of the headers that are read takes.
constexpr std::uint64_t longestHeader = 128;

double fixed(BoxReader& reader) {
    return static_cast<std::int32_t>(reader.u32()) / 65536.0;
}

/// The size as it is shown: turned and stretched by the track's matrix.
void readShownSize(BoxReader& tkhd, TrackSummary& track) {
    const double a = fixed(tkhd);
    const double b = fixed(tkhd);
    tkhd.skip(4);
    const double c = fixed(tkhd);
    const double d = fixed(tkhd);
    tkhd.skip(16);
    const double width = tkhd.u32() / 65536.0;
    const double height = tkhd.u32() / 65536.0;
    track.width = std::abs(a * width + c * height);
    track.height = std::abs(b * width + d * height);
}

void readTrackHeader(BoxReader tkhd, TrackHeaders& track) {
    const bool wide = skipDates(tkhd);
    track.number = tkhd.u32();
    tkhd.skip(4);
    track.length = readTicks(tkhd, wide);
    tkhd.skip(16);  // layer, group, volume and what is reserved
    readShownSize(tkhd, track.summary);
}

void readMediaHeader(BoxReader mdhd, TrackHeaders& track) {
    const bool wide = skipDates(mdhd);
    track.timescale = mdhd.u32();
    track.mediaLength = readTicks(mdhd, wide);
}

/// One edit after the other, for nobody knows how many there are.
void readEdits(HeaderFile& file, const FileBox& elst, TrackHeaders& track) {
    BoxReader header = file.beginning(elst, 8);
    const bool wide = header.fullBoxHeader().version == 1;
    const std::uint64_t count = header.u32();
    const std::uint64_t editSize = wide ? 20 : 12;
    require(count <= (elst.end - elst.content - 8) / editSize);
    if (count == 0) return;
    TrackHeaders::Edits edits;
    for (std::uint64_t i = 0; i < count; ++i) {
        BoxReader edit(file.bytes(elst.content + 8 + i * editSize, editSize));
        const double length = readTicks(edit, wide);
        const std::uint64_t start = edit.wide(wide);
        const bool empty = start == (wide ? ~0ULL : 0xffffffffULL);
        edits.length += length;
        if (length == 0 && !empty) edits.openStart = static_cast<double>(start);
    }
    track.edits = edits;
}

/// `stsd` is the list of sample entries.
void readSampleEntry(HeaderFile& file, const FileBox& stsd, TrackSummary& track) {
    const auto entry = file.boxAt(stsd.content + 8, stsd.end);
    if (!entry) return;
    track.format = entry->type;
    const bool sized = track.width > 0 && track.height > 0;
    if (track.kind != fourCC("vide") || sized) return;
    // A track that does not say how it is to be shown.
    BoxReader fields = file.beginning(*entry, 28);
    fields.skip(24);
    track.width = fields.u16();
    track.height = fields.u16();
}

void readMedia(HeaderFile& file, const FileBox& mdia, TrackHeaders& track) {
    std::optional<FileBox> stsd;
    file.eachIn(mdia, [&](const FileBox& box) {
        if (box.is("mdhd")) readMediaHeader(file.beginning(box, longestHeader), track);
        if (box.is("hdlr")) {
            BoxReader hdlr = file.beginning(box, longestHeader);
            hdlr.skip(8);  // version, flags and component
            track.summary.kind = hdlr.u32();
        }
        if (!box.is("minf")) return;
        file.eachIn(box, [&](const FileBox& part) {
            if (!part.is("stbl")) return;
            file.eachIn(part, [&](const FileBox& table) {
                if (table.is("stsd")) stsd = table;
            });
        });
    });
    // Last, because it depends on what the others say.
    if (stsd) readSampleEntry(file, *stsd, track.summary);
}

}  // namespace

double TrackHeaders::duration(double movieTimescale) const {
    const double mediaEnd = std::max(mediaLength, fragmentsEnd) / timescale;
    if (!edits) return mediaEnd > 0 ? mediaEnd : length / movieTimescale;
    double seconds = edits->length / movieTimescale;
    if (edits->openStart) seconds += std::max(0.0, mediaEnd - *edits->openStart / timescale);
    return seconds;
}

TrackHeaders readTrack(HeaderFile& file, const FileBox& trak) {
    TrackHeaders track;
    file.eachIn(trak, [&](const FileBox& box) {
        if (box.is("tkhd")) readTrackHeader(file.beginning(box, longestHeader), track);
        if (box.is("mdia")) readMedia(file, box, track);
        if (!box.is("edts")) return;
        file.eachIn(box, [&](const FileBox& list) {
            if (list.is("elst")) readEdits(file, list, track);
        });
    });
    require(track.number > 0 && track.timescale > 0 && track.summary.kind != 0);
    if (track.summary.kind != fourCC("vide")) track.summary.width = track.summary.height = 0;
    track.decodeTime = track.mediaLength;
    return track;
}

double readTicks(BoxReader& reader, bool in64Bits) {
    const std::uint64_t ticks = reader.wide(in64Bits);
    const std::uint64_t unknown =
        in64Bits ? std::numeric_limits<std::uint64_t>::max() : std::numeric_limits<std::uint32_t>::max();
    return ticks == unknown ? 0 : static_cast<double>(ticks);
}

bool skipDates(BoxReader& reader) {
    const FullBoxHeader header = reader.fullBoxHeader();
    require(header.version <= 1);
    const bool wide = header.version == 1;
    reader.wide(wide);
    reader.wide(wide);
    return wide;
}

}  // namespace lumicrate::isobmff
