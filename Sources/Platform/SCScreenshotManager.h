// SPDX-License-Identifier: GPL-3.0-or-later
// SCScreenshotManager: still pictures of windows and displays.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

/// Main thread.
class SCScreenshotManager {
 public:
    virtual ~SCScreenshotManager() = default;
    /// The whole window, including parts that other windows cover, scaled down to fit `maximumSize` pixels
    /// with its aspect ratio. None if it is not on the screen or cannot be read.
    virtual std::optional<CGImage> captureImage(std::uint32_t windowID, Size maximumSize) = 0;
    /// A display without the pointer, in its own pixels. None if it cannot be read.
    virtual std::optional<CGImage> captureDisplay(std::uint32_t displayID) = 0;
};

}  // namespace lumicrate
