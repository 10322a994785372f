// GifDestination: CGImageDestination, a GIF file that grows with each image.
#pragma once

#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Images/FrameQuantizer.h"
#include "Linux/Media/Images/GifBlocks.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// Holds the last image and what is shown of it beside the one being added.
///
/// GIF counts hundredths of a second: what all images together have lasted is rounded, so that they end in
/// time however many there are. A frame is written for each image, be it of one invisible pixel.
class GifDestination final : public CGImageDestination {
 public:
    /// Throws PlatformError.
    explicit GifDestination(const std::filesystem::path& url);

    /// All images have the size of the first, at most 65535 pixels each way.
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
