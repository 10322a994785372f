// SPDX-License-Identifier: GPL-3.0-or-later
// ImageIO: the platform's ImageIO with the FFmpeg libraries, libimagequant and giflib.
#pragma once

#include "Platform/AVAsset.h"

namespace lumicrate::media {

class ImageIO final : public lumicrate::ImageIO {
 public:
    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const std::filesystem::path& url,
                                                              Size maximumSize) const override;
    std::unique_ptr<CGImageDestination> makeAnimation(const std::filesystem::path& url,
                                                      const AnimationEncoding& encoding) const override;
};

/// The destinations for the formats of AnimationEncoding. They create the file. Throw PlatformError.
std::unique_ptr<CGImageDestination> makeGIF(const std::filesystem::path& url, double quality);
std::unique_ptr<CGImageDestination> makeWebP(const std::filesystem::path& url, double quality);

}  // namespace lumicrate::media
