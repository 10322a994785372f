// SPDX-License-Identifier: GPL-3.0-or-later
// FreeSpaceGuard: ends a recording before the disk is full.
#pragma once

#include "Lumicrate/Recording/RecorderError.h"
#include "Platform/NSFileManager.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace lumicrate {

/// On a full disk a movie may not find room for its own index, and other programs fail too. So a recording
/// ends while a reserve is still free: a hundredth of the volume, but at least 8 MiB and at most 256 MiB. For
/// example, the reserve of a 10 GiB volume is 102 MiB. There is no limit if the size of the volume is
/// unknown. Pure.
class FreeSpaceGuard {
 public:
    explicit FreeSpaceGuard(const std::optional<NSVolumeCapacity>& volume) : volume_(volume) {}

    /// Throws RecorderError unless twice the reserve is free, so that a recording does not end right after
    /// its start.
    void requireRoomToStart() const {
        if (volume_ && volume_->available < 2 * reserve())
            throw RecorderError(RecorderError::tooLittleFreeSpace, volume_->available);
    }
    bool hasRoomToGoOn() const { return hasRoomFor(0); }
    /// Whether a new file of that size leaves the reserve free.
    bool hasRoomFor(std::uintmax_t bytes) const {
        return !volume_ || (volume_->available >= reserve() && volume_->available - reserve() >= bytes);
    }

 private:
    std::uintmax_t reserve() const {
        constexpr std::uintmax_t MiB = 1024 * 1024;
        return std::clamp(volume_->total / 100, 8 * MiB, 256 * MiB);
    }

    std::optional<NSVolumeCapacity> volume_;
};

}  // namespace lumicrate
