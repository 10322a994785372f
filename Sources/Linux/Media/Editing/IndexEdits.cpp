// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/IndexEdits.h"

#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/MovieIndex.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace lumicrate::media {

namespace {

using isobmff::BoxReader;

/// Of a track, before its duration.
constexpr std::size_t numberAndReserved = 8;
/// Of the movie, between its duration and the number of the next track.
constexpr std::size_t rateToPreview = 4 + 2 + 10 + 36 + 24;

/// A number of 32 or 64 bits in the index.
class Field {
 public:
    Field(BoxReader& reader, bool in64Bits) : bytes_(reader.bytes(in64Bits ? 8 : 4)) {}

    std::uint64_t value() const {
        return std::accumulate(bytes_.begin(), bytes_.end(), std::uint64_t{0},
                               [](std::uint64_t value, std::uint8_t byte) { return value << 8 | byte; });
    }
    void set(std::uint64_t value, std::span<std::uint8_t> moov) const {
        std::uint8_t* place = moov.data() + (bytes_.data() - moov.data());
        for (std::size_t i = bytes_.size(); i > 0; --i, value >>= 8)
            place[i - 1] = static_cast<std::uint8_t>(value & 0xFF);
    }

 private:
    std::span<const std::uint8_t> bytes_;
};

/// The duration in a header that has two dates and then `between` bytes before it.
Field durationIn(BoxReader header, std::size_t between) {
    const bool wide = header.skipDates();
    header.skip(between);
    return {header, wide};
}

std::uint32_t timescaleIn(BoxReader header) {
    header.skipDates();
    return header.u32();
}

std::vector<Field> editsIn(BoxReader list) {
    const bool wide = list.fullBoxHeader().version == 1;
    std::vector<Field> durations;
    for (std::uint32_t left = list.u32(); left > 0; --left) {
        durations.emplace_back(list, wide);
        list.skip(wide ? 12 : 8);
    }
    return durations;
}

void endTrackAt(std::uint64_t end, const BoxReader& track, std::span<std::uint8_t> moov) {
    const std::vector<Field> edits = editsIn(track.child("edts").child("elst"));
    std::uint64_t total = 0;
    for (const Field& each : edits)
        total += each.value();
    if (edits.empty() || total <= end) return;
    const std::uint64_t last = edits.back().value();
    edits.back().set(last - std::min(last, total - end), moov);
    durationIn(track.child("tkhd"), numberAndReserved).set(end, moov);
}

}  // namespace

void endTracksAt(const std::map<int, double>& ends, std::span<std::uint8_t> moov) {
    const BoxReader index(moov);
    const std::uint32_t timescale = timescaleIn(index.child("mvhd"));
    std::uint64_t longest = 0;
    int number = 0;
    for (BoxReader rest = index; rest.remaining() > 0;) {
        const isobmff::Box box = rest.box();
        if (box.type != isobmff::fourCC("trak")) continue;
        if (const auto end = ends.find(number++); end != ends.end())
            endTrackAt(static_cast<std::uint64_t>(std::llround(end->second * timescale)), box.content, moov);
        longest = std::max(longest, durationIn(box.content.child("tkhd"), numberAndReserved).value());
    }
    durationIn(index.child("mvhd"), sizeof timescale).set(longest, moov);
}

void addMetadataTrack(const isobmff::TrackDescription& track, const isobmff::SampleTable& table,
                      isobmff::Brand brand, std::vector<std::uint8_t>& moov) {
    BoxReader header = BoxReader(moov).child("mvhd");
    const bool wide = header.fullBoxHeader().version == 1;
    isobmff::MetadataPlace place;
    place.brand = brand;
    place.created = static_cast<std::int64_t>(header.wide(wide)) - isobmff::epochShift;
    header.wide(wide);  // the date of the last change
    place.timescale = header.u32();
    isobmff::require(place.timescale > 0);
    place.duration = header.wide(wide);
    header.skip(rateToPreview);
    const Field next(header, false);
    place.number = static_cast<std::uint32_t>(next.value());
    next.set(next.value() + 1, moov);
    const std::vector<std::uint8_t> added = makeMetadataTrack(track, table, place);
    moov.insert(moov.end(), added.begin(), added.end());
}

}  // namespace lumicrate::media
