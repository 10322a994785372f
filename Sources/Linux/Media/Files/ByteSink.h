// ByteSink: where bytes are put at places.
#pragma once

#include <cstdint>
#include <span>

namespace lumicrate::media {

/// Used by one thread at a time.
class ByteSink {
 public:
    virtual ~ByteSink() = default;

    /// Puts all of `bytes` at `offset` (bytes from the beginning); what lies between the end so far and
    /// `offset` reads as zeros. Throws PlatformError; then any part of them may have been put there.
    virtual void write(std::uint64_t offset, std::span<const std::uint8_t> bytes) = 0;
    /// Returns when all that was written would outlast a power cut. Throws PlatformError.
    virtual void synchronize() = 0;

 protected:
    ByteSink() = default;
    ByteSink(const ByteSink&) = default;
    ByteSink& operator=(const ByteSink&) = default;
};

}  // namespace lumicrate::media
