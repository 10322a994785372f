// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/TrackHeaders.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumicrate::isobmff {

namespace {

/// More than any of the headers read here has.
constexpr std::uint64_t maxHeaderSize = 128;

double fixed(BoxReader& reader) {
    return static_cast<std::int32_t>(reader.u32()) / 65536.0;
}

/// The displayed size: rotated and scaled by the track's matrix.
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

/// Reads one edit at a time, since there may be any number.
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
    // The track header has no size.
    BoxReader fields = file.beginning(*entry, 28);
    fields.skip(24);
    track.width = fields.u16();
    track.height = fields.u16();
}

void readMedia(HeaderFile& file, const FileBox& mdia, TrackHeaders& track) {
    std::optional<FileBox> stsd;
    file.eachIn(mdia, [&](const FileBox& box) {
        if (box.is("mdhd")) readMediaHeader(file.beginning(box, maxHeaderSize), track);
        if (box.is("hdlr")) {
            BoxReader hdlr = file.beginning(box, maxHeaderSize);
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
    // Last, because it depends on the other headers.
    if (stsd) readSampleEntry(file, *stsd, track.summary);
}

// Fields of "tfhd" that its flags announce, in file order.
constexpr std::uint32_t hasBaseOffset = 0x01;
constexpr std::uint32_t hasDescription = 0x02;
constexpr std::uint32_t hasDefaultLength = 0x08;
// The same of "trun".
constexpr std::uint32_t hasDataOffset = 0x001;
constexpr std::uint32_t hasFirstFlags = 0x004;
constexpr std::uint32_t hasLengths = 0x100;
constexpr std::uint32_t hasSizes = 0x200;
constexpr std::uint32_t hasFlags = 0x400;
constexpr std::uint32_t hasDelays = 0x800;

/// One track's part of a fragment.
class TrackFragment {
 public:
    TrackFragment(HeaderFile& file, std::span<TrackHeaders> tracks) : file_(file), tracks_(tracks) {}

    void add(const FileBox& box) {
        if (box.is("tfhd")) begin(file_.beginning(box, 24));
        if (track_ == nullptr) return;
        if (box.is("tfdt")) {
            BoxReader tfdt = file_.beginning(box, 12);
            const bool wide = tfdt.fullBoxHeader().version == 1;
            track_->decodeTime = static_cast<double>(tfdt.wide(wide));
        }
        if (box.is("trun")) addRun(box);
    }

 private:
    void begin(BoxReader tfhd) {
        const std::uint32_t flags = tfhd.fullBoxHeader().flags;
        const std::uint32_t number = tfhd.u32();
        const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                        [number](const TrackHeaders& each) { return each.number == number; });
        track_ = found == tracks_.end() ? nullptr : &*found;
        if (track_ == nullptr) return;
        if ((flags & hasBaseOffset) != 0) tfhd.skip(8);
        if ((flags & hasDescription) != 0) tfhd.skip(4);
        sampleLength_ = (flags & hasDefaultLength) != 0 ? tfhd.u32() : track_->defaultSampleLength;
    }

    void addRun(const FileBox& trun) {
        BoxReader header = file_.beginning(trun, 16);
        const FullBoxHeader kind = header.fullBoxHeader();
        const auto has = [&kind](std::uint32_t flag) -> std::uint64_t {
            return (kind.flags & flag) != 0 ? 1 : 0;
        };
        const std::uint64_t count = header.u32();
        if (has(hasLengths) + has(hasDelays) == 0) {
            track_->decodeTime += static_cast<double>(count) * sampleLength_;
            extendTo(track_->decodeTime);
            return;
        }
        const std::uint64_t sampleSize =
            4 * (has(hasLengths) + has(hasSizes) + has(hasFlags) + has(hasDelays));
        std::uint64_t at = trun.content + 8 + 4 * (has(hasDataOffset) + has(hasFirstFlags));
        require(at <= trun.end && count <= (trun.end - at) / sampleSize);
        for (std::uint64_t i = 0; i < count; ++i, at += sampleSize) {
            BoxReader sample(file_.bytes(at, sampleSize));
            const double length = has(hasLengths) != 0 ? sample.u32() : sampleLength_;
            sample.skip(4 * (has(hasSizes) + has(hasFlags)));
            const double delay = has(hasDelays) != 0 ? readDelay(sample, kind.version) : 0;
            extendTo(track_->decodeTime + length + delay);
            track_->decodeTime += length;
        }
    }

    static double readDelay(BoxReader& sample, std::uint32_t version) {
        const std::uint32_t delay = sample.u32();
        return version == 0 ? delay : static_cast<std::int32_t>(delay);
    }

    void extendTo(double time) { track_->fragmentsEnd = std::max(track_->fragmentsEnd, time); }

    HeaderFile& file_;
    std::span<TrackHeaders> tracks_;
    TrackHeaders* track_ = nullptr;
    double sampleLength_ = 0;
};

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
        if (box.is("tkhd")) readTrackHeader(file.beginning(box, maxHeaderSize), track);
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

void addFragment(HeaderFile& file, const FileBox& moof, std::span<TrackHeaders> tracks) {
    file.eachIn(moof, [&](const FileBox& traf) {
        if (!traf.is("traf")) return;
        TrackFragment fragment(file, tracks);
        file.eachIn(traf, [&fragment](const FileBox& box) { fragment.add(box); });
    });
}

}  // namespace lumicrate::isobmff
