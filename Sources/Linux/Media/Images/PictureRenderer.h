// SPDX-License-Identifier: GPL-3.0-or-later
// PictureRenderer: converts decoded pictures to upright RGB pictures of another size.
#pragma once

#include "Linux/Media/Editing/Libav.h"
#include "Linux/Media/Images/PictureShape.h"
#include "Platform/AVAsset.h"

#include <memory>

struct SwsContext;

namespace lumicrate::media {

/// One thread at a time.
class PictureRenderer {
 public:
    /// `shown` is the size of the upright pictures.
    PictureRenderer(PixelSize shown, const Orientation& orientation);

    /// Draws `frame` into `image`. The matrix is that of the frame; where it has none, BT.709 or BT.601 by
    /// its size. Throws PlatformError for a pixel format that cannot be converted.
    void render(const AVFrame& frame, CGImage& image);

 private:
    struct Free {
        void operator()(SwsContext* scaler) const;
    };

    void scale(const AVFrame& frame, int colorSpace, bool fullRange);

    PixelSize shown_;
    Orientation orientation_;
    std::unique_ptr<SwsContext, Free> scaler_;
    OwnedFrame scaled_;  // YUV 4:4:4, not yet upright
};

}  // namespace lumicrate::media
