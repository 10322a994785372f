// SPDX-License-Identifier: GPL-3.0-or-later
// CameraConverter: turns decoded camera pictures upright and converts them for the screen and for a movie.
#pragma once

#include "Linux/Media/Camera/CameraScaler.h"
#include "Linux/Media/Libav.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/CMSampleBuffer.h"
#include "Platform/CameraFrame.h"
#include "Support/RecycledMemory.h"

#include <memory>

namespace lumicrate::media {

/// The size of a frame's picture when it is cropped and upright; even in both directions.
PixelSize uprightSize(const CameraFrame& frame);

/// By how many powers of two a frame should be reduced while decoding: at most CameraDecoder::maxReduction,
/// and so that it still covers `cover` (see AVCaptureSession::setPreviewSize).
int reductionFor(const CameraFrame& frame, PixelSize cover);

/// Converts the decoded `picture` of `frame`. Gives empty or null results for pixel formats that cannot be
/// converted. One thread at a time; the results may be released on any thread.
class CameraConverter {
 public:
    /// For the screen. The picture may be reduced. `cover` is not empty.
    RenderedPicture preview(const CameraFrame& frame, const AVFrame& picture, PixelSize cover);
    /// For a movie, in full size.
    std::shared_ptr<const CVPixelBuffer> pixelBuffer(const CameraFrame& frame, const AVFrame& picture,
                                                     bool isMirrored);

 private:
    CameraScaler previewScaler_;
    CameraScaler movieScaler_;
    OwnedFrame turnedPreview_ = makeFrame();  ///< not upright yet
    OwnedFrame turnedMovie_ = makeFrame();
    RecycledMemory previewMemory_;
    RecycledMemory movieMemory_;
};

}  // namespace lumicrate::media
