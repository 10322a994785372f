// SPDX-License-Identifier: GPL-3.0-or-later
// PictureShaper: converts decoded pictures to the size and the format of an encoder.
#pragma once

#include "Linux/Media/Libav.h"

#include <memory>

struct SwsContext;

namespace lumicrate::media {

/// An odd side is extended by a copy of the
/// last column or row. Pictures of another size than the first, which a movie may contain, are scaled.
class PictureShaper {
 public:
    /// Odd sides are supported with 8-bit 4:2:0 only.
    PictureShaper(int width, int height, AVPixelFormat format);
    /// The picture itself when it fits already, otherwise one that is valid until the next call. Throws
    /// PlatformError.
    AVFrame& shaped(AVFrame& picture);

 private:
    struct Free {
        void operator()(SwsContext* scaler) const;
    };

    void prepare(const AVFrame& picture);
    void growLuma();

    int width_;
    int height_;
    AVPixelFormat format_;
    OwnedFrame shaped_;
    std::unique_ptr<SwsContext, Free> scaler_;
};

}  // namespace lumicrate::media
