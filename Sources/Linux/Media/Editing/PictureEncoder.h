// SPDX-License-Identifier: GPL-3.0-or-later
// PictureEncoder: pictures made of those of another movie, encoded as a track of a new one.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Libav.h"

#include <cstdint>
#include <deque>

namespace lumicrate::media {

/// libx264 or libx265. Throws PlatformError.
const AVCodec& encoderFor(AVCodecID codec);

struct PictureEncoding {
    AVCodecID codec = AV_CODEC_ID_H264;  ///< or HEVC
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    int rate = 30;  ///< usual pictures a second
};

/// Keeps colours, orientation and pixel aspect ratio of a track; an odd side is coded one pixel longer. The
/// quality is constant, without a bit-rate ceiling, and visually lossless. There are no B-frames, so that
/// players that ignore edit lists show every picture at its time too. One thread. Throws PlatformError.
class PictureEncoder {
 public:
    /// For pictures of `track` of `source`, which must outlive it; times count ticks of
    /// OutputMovie::clockFor.
    PictureEncoder(const InputMovie& source, int track, const PictureEncoding& encoding);

    /// Before the movie begins. `packets` is the largest number of pictures.
    void addTo(OutputMovie& movie, std::int64_t packets);
    AVRational clock() const { return encoder_->time_base; }
    AVPixelFormat format() const { return encoder_->pix_fmt; }

    /// The frame has the coded size and the format. Times increase.
    void encode(AVFrame& frame, std::int64_t time, std::int64_t duration);
    /// After the last picture; ends the track. Fails if there was none.
    void finish();

 private:
    void write(const AVFrame* frame);

    const InputMovie& source_;
    int track_;
    OwnedCodec encoder_;
    OwnedPacket packet_;
    std::deque<std::int64_t> durations_;  ///< of the pictures in the encoder
    bool any_ = false;
    OutputMovie* movie_ = nullptr;
    int to_ = 0;
};

}  // namespace lumicrate::media
