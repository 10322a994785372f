// SPDX-License-Identifier: GPL-3.0-or-later
// H264Encoder: encodes pictures in H.264 with libx264.
//
// The encoder is told for each macroblock whether it is unchanged, and skips those. Motion on a screen is by
// whole pixels, so only whole-pixel motion is searched; not interpolating half and quarter pixels saves a
// quarter of the time. Only where something was scrolled further than usual motion goes is it worth searching
// far; each picture's search is as wide as its content needs. Films move by fractions of a pixel, which shows
// when the ceiling is reached (RateControl::isStrained): then, from the next key picture on, the search
// includes fractions. While what is shown is only moved, blocks of a picture have different quantizers
// (RateControl::isCopying), which takes a tenth more time.
#pragma once

#include "Linux/Media/Encoding/VideoEncoder.h"

// x264.h wants the integer types before it.
#include <x264.h>

#include <memory>

namespace lumicrate::media {

class H264Encoder final : public VideoEncoder {
 public:
    /// Throws PlatformError when the encoder cannot be set up.
    explicit H264Encoder(const Settings& settings);

 private:
    struct Close {
        void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
    };

    struct MotionSearch {
        int method = X264_ME_DIA;
        int range = 0;  ///< pixels
        bool operator==(const MotionSearch&) const = default;
    };

    enum class Mode { ordinary, subpixelMotion, variedQuantizers };

    void open(Mode mode);
    void fillParameters(x264_param_t& parameters) const;
    float* offsets(std::span<const std::uint8_t> uncovered);
    void readHeaders();
    void adaptSearch(const Order& order);
    std::span<const std::uint8_t> code(const Order& order) override;

    std::unique_ptr<x264_t, Close> encoder_;
    Mode mode_ = Mode::ordinary;
    MotionSearch search_;
    std::optional<ScrollDistance> lastScroll_;  ///< of the last picture, unless it was a key picture
    std::vector<float> offsets_;                ///< of the macroblocks' quantizers
};

}  // namespace lumicrate::media
