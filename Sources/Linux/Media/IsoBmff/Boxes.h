// SPDX-License-Identifier: GPL-3.0-or-later
// BoxWriter and BoxReader: the nested boxes of ISO base media files. Reading takes untrusted bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
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

/// The bytes are not as expected. The functions that read a whole file catch it and return it as a result.
class Malformed : public std::exception {
 public:
    const char* what() const noexcept override { return "malformed box"; }
};

inline void require(bool condition) {
    if (!condition) throw Malformed();
}

/// Random access to bytes, such as a file's.
class ByteSource {
 public:
    virtual ~ByteSource() = default;

    virtual std::uint64_t size() const = 0;
    /// Fills `into` with the bytes from `offset` on; false if there are not that many. Exceptions pass
    /// through to the caller of the reading function.
    virtual bool read(std::uint64_t offset, std::span<std::uint8_t> into) const = 0;
};

struct Box;

/// The beginning of a box with a version and flags.
struct FullBoxHeader {
    std::uint32_t version = 0;
    std::uint32_t flags = 0;
};

/// Reads one value after the other. Every function throws Malformed when too few bytes are left. The bytes
/// must outlive the reader.
class BoxReader {
 public:
    explicit BoxReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t u64() { return number(8); }
    /// 64 bits or 32.
    std::uint64_t wide(bool in64Bits) { return number(in64Bits ? 8 : 4); }
    std::span<const std::uint8_t> bytes(std::size_t count);
    void skip(std::size_t count) { bytes(count); }
    std::size_t remaining() const { return rest_.size(); }

    FullBoxHeader fullBoxHeader();
    /// Skips the beginning of "mvhd", "tkhd" and "mdhd": version, flags and two dates. Returns whether times
    /// have 64 bits.
    bool skipDates();
    /// The next box, which must be complete.
    Box box();
    /// The content of the next box, which must have this type.
    BoxReader box(std::string_view type);
    /// Takes the remaining bytes for boxes and returns the content of the first one of this type.
    std::optional<BoxReader> find(std::string_view type) const;
    /// The same; throws if there is none.
    BoxReader child(std::string_view type) const;

 private:
    std::uint64_t number(std::size_t size);

    std::span<const std::uint8_t> rest_;
};

struct Box {
    FourCC type = 0;
    BoxReader content;
};

}  // namespace lumicrate::isobmff
