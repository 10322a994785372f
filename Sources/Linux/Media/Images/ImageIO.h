// SPDX-License-Identifier: GPL-3.0-or-later
// ImageIO: the platform's ImageIO with the FFmpeg libraries, libimagequant and giflib.
#pragma once

#include "Platform/AVAsset.h"

namespace lumicrate::media {

class ImageIO final : public lumicrate::ImageIO {
 public:
    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const std::filesystem::path& url,
                                                              Size maximumSize) const override;
    std::unique_ptr<CGImageDestination> makeGIFDestination(const std::filesystem::path& url) const override;
};

}  // namespace lumicrate::media
