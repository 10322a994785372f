// SPDX-License-Identifier: GPL-3.0-or-later
// GIFExporter: converts a recorded movie into an animated GIF that loops forever.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/LongWork.h"
#include "Support/Task.h"

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
/// Throws PlatformError, also for a movie without duration, and CancelledError. Then no file is left at
/// `destination`.
void exportGIF(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url,
               const std::filesystem::path& destination, const GIFSize& size, const LongWork& work);

/// Runs exportGIF on a queue, awaited on the main thread. All arguments must outlive the work.
class GIFExporter {
 public:
    GIFExporter(Executor& executor, DispatchQueue& queue, const AVAssets& assets, const ImageIO& images)
        : executor_(executor), queue_(queue), assets_(assets), images_(images) {}

    /// Throws what the function throws. Cancelling the task does not stop the work; work.stop does.
    Task<void> exportGIF(std::filesystem::path url, std::filesystem::path destination, GIFSize size,
                         LongWork work) const;

 private:
    Executor& executor_;
    DispatchQueue& queue_;
    const AVAssets& assets_;
    const ImageIO& images_;
};

}  // namespace lumicrate
