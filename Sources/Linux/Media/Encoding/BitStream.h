// SPDX-License-Identifier: GPL-3.0-or-later
// BitWriter and BitReader: the bits of a NAL unit, most significant first, as H.264 and HEVC write them.
//
// Inside of a unit two zero bytes are followed by a byte 3 where the next one could be taken for a start code
// (emulation prevention). BitReader leaves these bytes out; appendNalUnit() puts them in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::media {

class BitWriter {
 public:
    /// Writes the lowest `count` bits of a value, at most 32.
    void bits(std::uint32_t value, int count);
    void flag(bool value) { bits(value ? 1 : 0, 1); }
    /// An Exp-Golomb code: ue(v) in the standards.
    void number(std::uint32_t value);
    /// se(v) in the standards.
    void signedNumber(int value);
    /// A one, then zeros up to the next whole byte.
    void align();
    /// Appends bytes after whole ones.
    void append(std::span<const std::uint8_t> bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    /// The whole bytes written so far.
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }
    void clear();

 private:
    std::vector<std::uint8_t> bytes_;
    std::uint32_t pending_ = 0;  ///< bits that do not fill a byte yet
    int pendingBits_ = 0;
};

/// Reads at most the first `maxBytes` of a unit; zeros follow.
class BitReader {
 public:
    explicit BitReader(std::span<const std::uint8_t> unit, std::size_t maxBytes = 64);

    std::uint32_t take(int count);
    bool flag() { return take(1) != 0; }
    std::uint32_t number();
    int signedNumber();
    /// Bits taken so far, without emulation prevention bytes.
    std::size_t position() const { return position_; }
    bool isPastEnd() const { return position_ > bytes_.size() * 8; }
    /// How many bytes of the unit make the first `count` bytes of its content.
    std::size_t rawLength(std::size_t count) const { return rawLengths_[count]; }

 private:
    std::vector<std::uint8_t> bytes_;
    std::vector<std::size_t> rawLengths_{0};
    std::size_t position_ = 0;
};

/// Appends a NAL unit with a length of four bytes: `head`, into which emulation prevention bytes are put, and
/// `tail`, which has them. `head` must not end with a zero byte if there is a tail.
void appendNalUnit(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> head,
                   std::span<const std::uint8_t> tail = {});

}  // namespace lumicrate::media
