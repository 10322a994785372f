// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/BoxReader.h"

namespace lumicrate::isobmff {

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
