// SPDX-License-Identifier: GPL-3.0-or-later
// CameraDecoder: turns what a camera sends into pictures, and rejects what is damaged.
#pragma once

#include "Linux/Media/Libav.h"
#include "Platform/CameraFrame.h"

namespace lumicrate::media {

/// One thread at a time.
class CameraDecoder {
 public:
    static constexpr int maxReduction = 3;

    CameraDecoder();

    /// The frame's picture, or null when it is damaged, has another size than the format says, or has fewer
    /// bytes. JPEG pictures are decoded at 1 ⁄ 2^`reduction` of their size (rounded up), which is faster;
    /// others keep their size. `reduction` is 0 … maxReduction. An uncompressed picture refers to the frame's
    /// bytes; the result is valid until the next call.
    const AVFrame* decode(const CameraFrame& frame, int reduction);

 private:
    const AVFrame* decodeJpeg(const CameraFrame& frame, int reduction);
    bool openJpegDecoder(PixelSize size, int reduction);
    const AVFrame* view(const CameraFrame& frame);

    OwnedFrame picture_;
    OwnedPacket packet_;
    OwnedCodec jpegDecoder_;
    PixelSize jpegSize_;  ///< that the decoder was opened for
};

}  // namespace lumicrate::media
