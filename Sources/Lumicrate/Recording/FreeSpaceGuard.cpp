// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/FreeSpaceGuard.h"

#include "Lumicrate/Recording/RecorderError.h"

#include <algorithm>

namespace lumicrate {

namespace {

constexpr std::uintmax_t MiB = 1024 * 1024;
constexpr std::uintmax_t minReserve = 8 * MiB;
constexpr std::uintmax_t maxReserve = 256 * MiB;

}  // namespace

std::uintmax_t FreeSpaceGuard::reserve() const {
    return std::clamp(volume_->total / 100, minReserve, maxReserve);
}

void FreeSpaceGuard::requireRoomToStart() const {
    if (volume_ && volume_->available < 2 * reserve())
        throw RecorderError(RecorderError::tooLittleFreeSpace, volume_->available);
}

bool FreeSpaceGuard::hasRoomFor(std::uintmax_t bytes) const {
    return !volume_ || (volume_->available >= reserve() && volume_->available - reserve() >= bytes);
}

}  // namespace lumicrate
