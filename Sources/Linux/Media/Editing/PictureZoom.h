// SPDX-License-Identifier: GPL-3.0-or-later
// PictureZoom: a part of a picture, enlarged to the size of the whole.
#pragma once

#include "Linux/Media/Editing/PlaneResampler.h"
#include "Linux/Media/Libav.h"
#include "Support/Geometry.h"

namespace lumicrate::media {

/// Whether PictureZoom takes the format: planar YUV with 8 bits.
bool isZoomable(AVPixelFormat format);

/// For pictures of one size and format. One thread.
class PictureZoom {
 public:
    /// `shown` is the size of what pictures show; an odd side is followed by one column or row more.
    explicit PictureZoom(PixelSize shown) : shown_(shown), zoomed_(makeFrame()) {}

    /// The picture itself when `view` is all of it, otherwise one that is valid until the next call. `view`
    /// is a part, 0 … 1. Throws PlatformError.
    AVFrame& zoomed(AVFrame& picture, const Rect& view);

 private:
    void prepare(const AVFrame& picture);

    PixelSize shown_;
    OwnedFrame zoomed_;
    PlaneResampler resampler_;
};

}  // namespace lumicrate::media
