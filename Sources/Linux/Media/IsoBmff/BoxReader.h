// SPDX-License-Identifier: GPL-3.0-or-later
// BoxReader: reads numbers and boxes of ISO base media files from untrusted bytes.
#pragma once

#include "Linux/Media/IsoBmff/BoxWriter.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>

namespace lumicrate::isobmff {

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
