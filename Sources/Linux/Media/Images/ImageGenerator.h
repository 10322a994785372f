// ImageGenerator: AVAssetImageGenerator, which goes through a movie once.
#pragma once

#include "Linux/Media/Images/MovieFrames.h"
#include "Linux/Media/Images/PictureRenderer.h"
#include "Platform/AVAsset.h"

#include <filesystem>

namespace lumicrate::media {

/// Holds the picture that is shown, the one after it, those in the decoder's threads and the one handed out.
class ImageGenerator final : public AVAssetImageGenerator {
 public:
    /// Throws PlatformError.
    ImageGenerator(const std::filesystem::path& url, Size maximumSize);

    const CGImage* image(CMTime time, CMTime toleranceAfter) override;

 private:
    bool isShownAt(CMTime time) const;
    const CGImage* rendered(const MovieFrame& frame);

    MovieFrames frames_;
    PictureRenderer renderer_;
    MovieFrame shown_;
    MovieFrame next_;
    CGImage image_;
    CMTime renderedBegin_;
};

}  // namespace lumicrate::media
