// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/MovieHead.h"

#include "Linux/Media/IsoBmff/MovieIndex.h"

#include <algorithm>
#include <string_view>

namespace lumicrate::isobmff {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view markText = "Lumicrate recording v1\0\0"sv;
/// A room grows by at most this at once: the index of more than a day.
constexpr std::uint64_t maxGrowth = 256ULL << 20;

/// The main brand and those that readers may recognize the file by.
struct Brands {
    std::string_view major;
    std::string_view compatible;
};

Brands brandsOf(Brand brand) {
    switch (brand) {
        case Brand::mpeg4:
            return {"isom", "isomiso6mp41"};
        case Brand::quickTime:
            return {"qt  ", "qt  "};
        case Brand::m4a:
            return {"M4A ", "M4A isomiso6mp42"};
    }
    return {};
}

void writeFileType(BoxWriter& writer, Brand brand) {
    constexpr std::uint32_t minorVersion = 0x200;
    const Brands brands = brandsOf(brand);
    const auto ftyp = writer.box("ftyp");
    writer.text(brands.major);
    writer.u32(minorVersion);
    writer.text(brands.compatible);
}

std::vector<std::uint8_t> boxHeader(std::string_view type, std::uint64_t size) {
    BoxWriter writer;
    writer.u32(size);
    writer.u32(fourCC(type));
    return writer.take();
}

void writeMediaHeader(BoxWriter& writer, std::uint64_t mediaSize) {
    writer.u32(1);  // the size follows, in 64 bits
    writer.u32(fourCC("mdat"));
    writer.u64(largeBoxHeaderSize + mediaSize);
}

/// Writes a free box up to `end`. Returns false if the gap is too small for one; no gap at all is fine.
bool writeFreeUpTo(BoxWriter& writer, std::uint64_t end) {
    if (writer.position() == end) return true;
    if (writer.position() + boxHeaderSize > end) return false;
    const std::uint64_t size = end - writer.position();
    writer.u32(size);
    writer.u32(fourCC("free"));
    writer.zeros(size - boxHeaderSize);
    return true;
}

std::uint64_t roundedUp(std::uint64_t size) {
    return (size + blockSize - 1) / blockSize * blockSize;
}

}  // namespace

std::vector<std::uint8_t> makeMark(Brand brand, const MovieIdentifier& identifier) {
    BoxWriter writer;
    writeFileType(writer, brand);
    {
        const auto free = writer.box("free");
        writer.text(markText);
        writer.bytes(identifier);
    }
    return writer.take();
}

Head makeHead(const MovieDescription& movie, const MovieIdentifier& identifier, std::uint64_t size) {
    BoxWriter writer;
    Head head;
    writer.bytes(makeMark(movie.brand, identifier));
    head.layout.index = writer.position();
    writer.bytes(makeEmptyIndex(movie));
    head.layout.room = writer.position();
    head.layout.media = std::max(size, roundedUp(head.layout.room + boxHeaderSize));
    writeFreeUpTo(writer, head.layout.media);
    head.bytes = writer.take();
    return head;
}

std::optional<Placed> fillRoom(const HeadLayout& layout, std::span<const std::uint8_t> index,
                               std::uint64_t mediaEnd) {
    const std::uint64_t start = layout.room + boxHeaderSize;
    const std::uint64_t end = layout.media - largeBoxHeaderSize;
    if (start + index.size() > end) return std::nullopt;
    BoxWriter writer;
    writer.bytes(index);
    if (!writeFreeUpTo(writer, end - start)) return std::nullopt;
    writeMediaHeader(writer, mediaEnd - layout.media);
    return Placed{start, writer.take()};
}

Placed switchToFinished(const HeadLayout& layout) {
    return {layout.index, boxHeader("free", layout.room + boxHeaderSize - layout.index)};
}

std::uint64_t growth(const HeadLayout& layout) {
    const std::uint64_t spare = layout.media - layout.room - boxHeaderSize;
    return std::min(spare / blockSize * blockSize, maxGrowth);
}

Placed prepareGrowth(const HeadLayout& layout) {
    const std::uint64_t size = growth(layout);
    return {layout.media - size, boxHeader("free", size)};
}

Placed roomHeader(const HeadLayout& layout) {
    return {layout.room, boxHeader("free", layout.media - layout.room)};
}

HeadLayout grown(const HeadLayout& layout) {
    return {layout.index, layout.room, layout.media + growth(layout)};
}

std::vector<std::uint8_t> makeFinishedHead(const MovieDescription& movie, const MovieIdentifier& identifier,
                                           std::span<const SampleTable> tables, const HeadLayout& layout,
                                           std::uint64_t mediaEnd) {
    const std::vector<std::uint8_t> mark = makeMark(movie.brand, identifier);
    std::uint64_t size = blockSize;
    // The index may grow with the head, when its offsets exceed 32 bits; so repeat until it fits.
    for (;;) {
        const auto shift = static_cast<std::int64_t>(size) - static_cast<std::int64_t>(layout.media);
        BoxWriter writer;
        writer.bytes(mark);
        writer.bytes(makeIndex(movie, tables, shift));
        const std::uint64_t needed = roundedUp(writer.position() + boxHeaderSize + largeBoxHeaderSize);
        if (needed <= size) {
            writeFreeUpTo(writer, size - largeBoxHeaderSize);
            writeMediaHeader(writer, mediaEnd - layout.media);
            return writer.take();
        }
        size = needed;
    }
}

Placed switchToFinishedBehind(const HeadLayout& layout) {
    return {layout.index, boxHeader("free", layout.media - largeBoxHeaderSize - layout.index)};
}

Placed mediaHeader(const HeadLayout& layout, std::uint64_t mediaEnd) {
    BoxWriter writer;
    writeMediaHeader(writer, mediaEnd - layout.media);
    return {layout.media - largeBoxHeaderSize, writer.take()};
}

}  // namespace lumicrate::isobmff
