// Still pictures of windows and screens, as they are now.
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
    /// The whole window, also where others cover it, scaled down evenly to fit `maximumSize` in pixels and
    /// never enlarged. Nothing when it is not on the screen or cannot be read.
    virtual std::optional<CGImage> captureImage(std::uint32_t windowID, Size maximumSize) = 0;
    /// All that is to be seen on a display but for the pointer, in its own pixels. Nothing when it cannot be
    /// read.
    virtual std::optional<CGImage> captureDisplay(std::uint32_t displayID) = 0;
};

}  // namespace lumicrate
