// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/Boxes.h"

namespace lumicrate::isobmff {

void BoxWriter::text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
}

void BoxWriter::bytes(std::span<const std::uint8_t> content) {
    bytes_.insert(bytes_.end(), content.begin(), content.end());
}

void BoxWriter::zeros(std::size_t count) {
    bytes_.resize(bytes_.size() + count);
}

void BoxWriter::patch32(std::size_t position, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes_[position + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

void BoxWriter::number(std::uint64_t value, int size) {
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes_.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::span<const std::uint8_t> BoxReader::bytes(std::size_t count) {
    require(count <= rest_.size());
    const auto taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
}

std::uint64_t BoxReader::number(std::size_t size) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes(size))
        value = value << 8 | byte;
    return value;
}

FullBoxHeader BoxReader::fullBoxHeader() {
    const std::uint32_t both = u32();
    return {both >> 24, both & 0xffffff};
}

bool BoxReader::skipDates() {
    const FullBoxHeader header = fullBoxHeader();
    require(header.version <= 1);
    const bool in64Bits = header.version == 1;
    skip(in64Bits ? 16 : 8);
    return in64Bits;
}

Box BoxReader::box() {
    const std::uint32_t size = u32();
    const FourCC type = u32();
    require(size >= boxHeaderSize);
    return {type, BoxReader(bytes(size - boxHeaderSize))};
}

BoxReader BoxReader::box(std::string_view type) {
    const Box next = box();
    require(next.type == fourCC(type));
    return next.content;
}

std::optional<BoxReader> BoxReader::find(std::string_view type) const {
    BoxReader boxes = *this;
    while (boxes.remaining() > 0) {
        const Box next = boxes.box();
        if (next.type == fourCC(type)) return next.content;
    }
    return std::nullopt;
}

BoxReader BoxReader::child(std::string_view type) const {
    const std::optional<BoxReader> found = find(type);
    require(found.has_value());
    return *found;
}

}  // namespace lumicrate::isobmff
