// BoxReader: numbers and boxes of ISO base media files, out of bytes that nobody vouches for.
#pragma once

#include "Linux/Media/IsoBmff/BoxWriter.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>

namespace lumicrate::isobmff {

/// The bytes are not what is to be read. It never leaves the reading of a file, whose outcome it becomes.
class Malformed : public std::exception {
 public:
    const char* what() const noexcept override { return "malformed box"; }
};

inline void require(bool condition) {
    if (!condition) throw Malformed();
}

struct Box;

/// What a box begins with that has a version and flags.
struct FullBoxHeader {
    std::uint32_t version = 0;
    std::uint32_t flags = 0;
};

/// Reads on from one thing to the next; all of it throws Malformed where the bytes do not reach. The bytes
/// must outlive it.
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
    /// The box that comes next, all of which must be there.
    Box box();
    /// The content of the box that comes next, which must be of this type.
    BoxReader box(std::string_view type);
    /// The content of the first box of a type among the boxes that the rest of the bytes are.
    std::optional<BoxReader> find(std::string_view type) const;
    /// The same where there must be one.
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
