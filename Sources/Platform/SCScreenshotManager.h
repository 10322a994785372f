// Still pictures of windows, as they are now.
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
};

}  // namespace lumicrate
