// SPDX-License-Identifier: GPL-3.0-or-later
// Still pictures out of live ones.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/Pictures/LivePicture.h"
#include "Platform/AVAsset.h"

#include <chrono>

namespace lumicrate::pictures {

/// Waits until all of the picture has been read. False if that takes longer than the timeout; the picture
/// then contains what has been read. Throws PlatformError.
bool awaitComplete(LivePicture& picture, std::chrono::nanoseconds timeout);

CGImage imageFrom(const BgraView& picture);

}  // namespace lumicrate::pictures
