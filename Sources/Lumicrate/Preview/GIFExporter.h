// SPDX-License-Identifier: GPL-3.0-or-later
// GIFExporter: converts a recorded movie into an animated GIF that loops forever.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// Picture size and frame rate.
struct GIFSize {
    /// Maximum width in pixels; the maximum height is four times that. Pictures are never enlarged.
    double width = 640;
    /// Frames per second, above 0. Values above 50 count as 50, because players show a frame whose delay is
    /// below 0.02 s for 0.1 s instead.
    double fps = 12;
};

/// Writes the GIF; blocks; any thread. `destination` must not exist. Takes a frame at each of the times
/// 0, 1 ⁄ fps, 2 ⁄ fps … before the movie's end, or the first picture up to one frame later. Times without a
/// picture are left out, which makes the GIF shorter.
///
/// Throws PlatformError, also for a movie without duration or without any picture, and CancelledError. Then
/// no file is left at `destination`.
void exportGIF(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url,
               const std::filesystem::path& destination, const GIFSize& size, const LongWork& work);

}  // namespace lumicrate
