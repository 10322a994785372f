// SPDX-License-Identifier: GPL-3.0-or-later
// BoxWriter: writes nested ISO base media boxes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate::isobmff {

using FourCC = std::uint32_t;

/// A box type such as "moov" as the number in the file.
constexpr FourCC fourCC(std::string_view text) {
    FourCC value = 0;
    for (const char each : text)
        value = value << 8 | static_cast<std::uint8_t>(each);
    return value;
}

/// Bytes of a box header: size and type.
inline constexpr std::uint32_t boxHeaderSize = 8;
/// The same with a size of 64 bits.
inline constexpr std::uint32_t largeBoxHeaderSize = 16;

/// All numbers are big-endian. Boxes nest by scope:
///
///     const auto moov = writer.box("moov");
///     {
///         const auto mvhd = writer.fullBox("mvhd");
///         writer.u32(…);
///     }
class BoxWriter {
 public:
    /// A box being written; its destructor sets the size. Boxes end in the reverse order of their beginning.
    class [[nodiscard]] Box {
     public:
        Box(const Box&) = delete;
        Box& operator=(const Box&) = delete;
        ~Box() { writer_.patch32(start_, static_cast<std::uint32_t>(writer_.position() - start_)); }

     private:
        friend class BoxWriter;
        Box(BoxWriter& writer, FourCC type) : writer_(writer), start_(writer.position()) {
            writer.u32(0);
            writer.u32(type);
        }
        Box(BoxWriter& writer, FourCC type, std::uint32_t versionAndFlags) : Box(writer, type) {
            writer.u32(versionAndFlags);
        }

        BoxWriter& writer_;
        std::size_t start_;
    };

    Box box(std::string_view type) { return {*this, fourCC(type)}; }
    /// A box that begins with a version and 24 bits of flags.
    Box fullBox(std::string_view type, std::uint32_t version = 0, std::uint32_t flags = 0) {
        return {*this, fourCC(type), version << 24 | flags};
    }

    void u8(std::uint64_t value) { number(value, 1); }
    void u16(std::uint64_t value) { number(value, 2); }
    void u24(std::uint64_t value) { number(value, 3); }
    void u32(std::uint64_t value) { number(value, 4); }
    void u64(std::uint64_t value) { number(value, 8); }
    /// 64 bits or 32.
    void wide(std::uint64_t value, bool in64Bits) { number(value, in64Bits ? 8 : 4); }
    void text(std::string_view characters);
    void bytes(std::span<const std::uint8_t> content);
    void zeros(std::size_t count);
    void patch32(std::size_t position, std::uint32_t value);

    std::size_t position() const { return bytes_.size(); }
    std::vector<std::uint8_t> take() { return std::exchange(bytes_, {}); }

 private:
    void number(std::uint64_t value, int size);

    std::vector<std::uint8_t> bytes_;
};

}  // namespace lumicrate::isobmff
