// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/BitStream.h"

#include <algorithm>
#include <bit>

namespace lumicrate::media {

void BitWriter::bits(std::uint32_t value, int count) {
    for (int bit = count - 1; bit >= 0; --bit) {
        pending_ = pending_ << 1 | (value >> bit & 1);
        if (++pendingBits_ < 8) continue;
        bytes_.push_back(static_cast<std::uint8_t>(pending_));
        pending_ = 0;
        pendingBits_ = 0;
    }
}

void BitWriter::number(std::uint32_t value) {
    const int length = std::bit_width(value + 1);
    bits(0, length - 1);
    bits(value + 1, length);
}

void BitWriter::signedNumber(int value) {
    number(value > 0 ? 2 * static_cast<std::uint32_t>(value) - 1 : 2 * static_cast<std::uint32_t>(-value));
}

void BitWriter::align() {
    flag(true);
    while (pendingBits_ != 0)
        flag(false);
}

void BitWriter::clear() {
    bytes_.clear();
    pending_ = 0;
    pendingBits_ = 0;
}

BitReader::BitReader(std::span<const std::uint8_t> unit, std::size_t maxBytes) {
    int zeros = 0;
    for (std::size_t i = 0; i < std::min(unit.size(), maxBytes); ++i) {
        const bool isPrevention = zeros >= 2 && unit[i] == 3;
        zeros = unit[i] == 0 ? zeros + 1 : 0;
        if (isPrevention) continue;
        bytes_.push_back(unit[i]);
        rawLengths_.push_back(i + 1);
    }
}

std::uint32_t BitReader::take(int count) {
    std::uint32_t value = 0;
    for (; count > 0; --count, ++position_) {
        const std::size_t byte = position_ / 8;
        const std::uint32_t bit = byte < bytes_.size() ? bytes_[byte] >> (7 - position_ % 8) & 1U : 0;
        value = value << 1 | bit;
    }
    return value;
}

std::uint32_t BitReader::number() {
    int zeros = 0;
    while (take(1) == 0 && zeros < 31)
        ++zeros;
    return (1U << zeros) - 1 + take(zeros);
}

int BitReader::signedNumber() {
    const std::uint32_t code = number();
    const int magnitude = static_cast<int>((code + 1) / 2);
    return code % 2 == 1 ? magnitude : -magnitude;
}

void appendNalUnit(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> head,
                   std::span<const std::uint8_t> tail) {
    const std::size_t begin = sample.size();
    sample.resize(begin + 4);
    int zeros = 0;
    for (const std::uint8_t byte : head) {
        if (zeros >= 2 && byte <= 3) {
            sample.push_back(3);
            zeros = 0;
        }
        sample.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    sample.insert(sample.end(), tail.begin(), tail.end());
    const std::size_t length = sample.size() - begin - 4;
    for (std::size_t i = 0; i < 4; ++i)
        sample[begin + i] = static_cast<std::uint8_t>(length >> (24 - 8 * i));
}

}  // namespace lumicrate::media
