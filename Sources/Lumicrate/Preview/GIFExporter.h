// SPDX-License-Identifier: GPL-3.0-or-later
// GIFExporter: converts a recorded movie into an animation that loops forever, as a GIF or as WebP.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/LongWork.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace lumicrate {

/// Picture size, frame rate and encoding.
struct GIFSize {
    /// Maximum width in pixels; the maximum height is four times that. Pictures are never enlarged.
    double width = 640;
    /// Frames per second, above 0. Values above 50 count as 50, because players show a frame whose delay is
    /// below 0.02 s for 0.1 s instead.
    double fps = 12;
    AnimationEncoding encoding{};
};

/// Writes the animation; blocks; any thread. `destination` must not exist. Takes a frame at each of the times
/// 0, 1 ⁄ fps, 2 ⁄ fps … before the movie's end, or the first picture up to one frame later. Times without a
/// picture are left out, which makes the animation shorter.
///
/// Throws PlatformError, also for a movie without duration or without any picture, and CancelledError. Then
/// no file is left at `destination`.
void exportGIF(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url,
               const std::filesystem::path& destination, const GIFSize& size, const LongWork& work);

/// The frames of a movie for an animation. The images and the path must outlive it. Any thread.
class GIFFrames {
 public:
    /// Throws PlatformError for a movie without duration.
    GIFFrames(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url);

    double duration() const { return summary_.duration; }  ///< seconds
    std::optional<Size> pictureSize() const { return summary_.videoSize; }

    /// Receives, after each frame, the part of the movie that is done, 0 … 1. False ends the work.
    using Observer = std::function<bool(double part)>;
    /// Adds them all to `gif`, unless the observer ends the work; returns whether they all were added. Throws
    /// as exportGIF() does.
    bool addTo(CGImageDestination& gif, const GIFSize& size, const LongWork& work,
               const Observer& goesOn = nullptr) const;

 private:
    const ImageIO& images_;
    const std::filesystem::path& url_;
    AVAssetSummary summary_;
};

}  // namespace lumicrate
