// SPDX-License-Identifier: GPL-3.0-or-later
// VideoCompositionExport: the platform's AVVideoCompositionExport with the FFmpeg libraries.
#pragma once

#include "Platform/AVVideoComposition.h"

namespace lumicrate::media {

class VideoCompositionExport final : public AVVideoCompositionExport {
 public:
    void exportZoomed(const std::filesystem::path& source, const std::filesystem::path& destination,
                      AVFileType type, const AVVideoView& view, const LongWork& work) const override;
};

}  // namespace lumicrate::media
