// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/BoxWriter.h"

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

}  // namespace lumicrate::isobmff
