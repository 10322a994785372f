#include "Lumicrate/Recording/FreeSpaceGuard.h"

#include "Lumicrate/Recording/RecorderError.h"

#include <algorithm>

namespace lumicrate {

namespace {

constexpr std::uintmax_t MiB = 1024 * 1024;
constexpr std::uintmax_t leastFloor = 8 * MiB;
constexpr std::uintmax_t greatestFloor = 256 * MiB;

}  // namespace

std::uintmax_t FreeSpaceGuard::floor() const {
    return std::clamp(volume_->total / 100, leastFloor, greatestFloor);
}

void FreeSpaceGuard::requireRoomToStart() const {
    if (volume_ && volume_->available < 2 * floor())
        throw RecorderError(RecorderError::tooLittleFreeSpace, volume_->available);
}

bool FreeSpaceGuard::hasRoomFor(std::uintmax_t bytes) const {
    return !volume_ || (volume_->available >= floor() && volume_->available - floor() >= bytes);
}

}  // namespace lumicrate
