// FreeSpaceGuard: keeps a recording from running into the end of the disk.
#pragma once

#include "Platform/NSFileManager.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

/// A movie whose disk fills up may not find the room for its own index, and a full disk harms everybody else
/// on it. So a recording ends while a floor of space is still free: a hundredth of the volume, but at least
/// 8 MiB and at most 256 MiB. A volume that does not tell its size sets no limit. Pure.
class FreeSpaceGuard {
 public:
    explicit FreeSpaceGuard(const std::optional<NSVolumeCapacity>& volume) : volume_(volume) {}

    /// Throws RecorderError unless twice the floor is free, so that a recording does not end just after it
    /// has begun.
    void requireRoomToStart() const;
    bool hasRoomToGoOn() const { return hasRoomFor(0); }
    /// Whether a file of so many bytes leaves the floor free.
    bool hasRoomFor(std::uintmax_t bytes) const;

 private:
    std::uintmax_t floor() const;

    std::optional<NSVolumeCapacity> volume_;
};

}  // namespace lumicrate
