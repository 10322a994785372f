// GIFExporter: makes an animated GIF, which loops forever, of a recorded movie.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/LongWork.h"
#include "Support/Task.h"

#include <filesystem>

namespace lumicrate {

/// How large and how smooth.
struct GIFSize {
    /// Pixels; the picture is at most so wide and at most four times as high, and never enlarged.
    double width = 640;
    /// Frames a second, above 0. More than 50 count as 50: players show a frame of less than two hundredths
    /// of a second for ten.
    double fps = 12;
};

/// Blocks until the GIF is there; any thread. A frame is taken at, or not more than a frame after, each of
/// the times 0, 1 ⁄ fps, 2 ⁄ fps … before the movie's end; where the movie has no picture, none is added and
/// the GIF is shorter. `destination` must not exist.
///
/// Throws PlatformError, also for a movie that lasts no time (before any file is made), and CancelledError.
/// No file is left at `destination` then.
void exportGIF(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url,
               const std::filesystem::path& destination, const GIFSize& size, const LongWork& work);

/// The same for a task on the main thread. Everything handed in must outlive the queue's work.
class GIFExporter {
 public:
    GIFExporter(Executor& executor, DispatchQueue& queue, const AVAssets& assets, const ImageIO& images)
        : executor_(executor), queue_(queue), assets_(assets), images_(images) {}

    /// Throws as exportGIF does. A task that is cancelled does not stop the work; its stop token does.
    Task<void> exportGIF(std::filesystem::path url, std::filesystem::path destination, GIFSize size,
                         LongWork work) const;

 private:
    Executor& executor_;
    DispatchQueue& queue_;
    const AVAssets& assets_;
    const ImageIO& images_;
};

}  // namespace lumicrate
