// SPDX-License-Identifier: GPL-3.0-or-later
// GifDestination: a CGImageDestination that writes an animated GIF file image by image.
#pragma once

#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Images/FrameQuantizer.h"
#include "Linux/Media/Images/GifBlocks.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// GIF counts hundredths of a second. The total duration of all images so far is rounded, not each delay: at
/// 12 images a second the delays are 8, 9, 8, 8, 9 … hundredths, and 60 images last 5.00 s. Every image
/// becomes a frame, if only of one transparent pixel.
class GifDestination final : public CGImageDestination {
 public:
    /// Creates the file. Throws PlatformError.
    explicit GifDestination(const std::filesystem::path& url);

    /// All images must have the size of the first, at most 65535 pixels in each direction.
    void addImage(const CGImage& image, CMTime delay) override;
    void finalize() override;

 private:
    int roundedDelay(CMTime delay);
    void flush();

    AtomicFile file_;
    std::vector<std::uint8_t> bytes_;  // not yet written
    GifBlocks blocks_{bytes_};
    std::uint64_t written_ = 0;
    FrameQuantizer quantizer_;
    CMTime elapsed_ = CMTime::zero();
    std::int64_t elapsedHundredths_ = 0;
};

}  // namespace lumicrate::media
