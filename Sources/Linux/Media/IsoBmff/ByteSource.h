// ByteSource: bytes that can be read anywhere, such as a file's.
#pragma once

#include <cstdint>
#include <span>

namespace lumicrate::isobmff {

class ByteSource {
 public:
    virtual ~ByteSource() = default;

    virtual std::uint64_t size() const = 0;
    /// Fills all of `into` with what lies from `offset` on; false where that is not possible, as behind the
    /// end. What it throws passes through to whoever asked for the reading.
    virtual bool read(std::uint64_t offset, std::span<std::uint8_t> into) const = 0;
};

}  // namespace lumicrate::isobmff
