// SPDX-License-Identifier: GPL-3.0-or-later
// CameraScaler: crops, scales and converts pictures with libswscale.
#pragma once

#include "Linux/Media/Libav.h"
#include "Support/Geometry.h"

#include <memory>
#include <tuple>

struct SwsContext;

namespace lumicrate::media {

bool isRgb(AVPixelFormat format);

/// For many pictures of one kind. One thread at a time.
class CameraScaler {
 public:
    /// Scales `part` of the picture into `result`, which has a size, a pixel format and memory. A YUV result
    /// has the colours of a YUV picture, and BT.709 in video range for an RGB picture. False for pixel
    /// formats that cannot be converted.
    bool scale(const AVFrame& picture, const PixelRect& part, const AVFrame& result);

 private:
    struct Free {
        void operator()(SwsContext* scaler) const;
    };
    /// Of both pictures: width, height, pixel format; then colour space and range.
    using Kind = std::tuple<int, int, int, int, int, int, int, bool>;

    bool open(const Kind& kind);

    Kind kind_;
    std::unique_ptr<SwsContext, Free> scaler_;
};

}  // namespace lumicrate::media
