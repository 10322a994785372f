// H264Encoder: pictures coded in H.264.
//
// The encoder is told block by block what is the same as before and does not look at it. What moves on a
// screen moves by whole pixels, so motion is looked for there only; not having to prepare the places between
// pixels saves a quarter of the time. Films and the like move otherwise, which shows by their reaching the
// ceiling: then, from the next key picture on, the places between count too.
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

    void open(bool betweenPixels);
    void fillParameters(x264_param_t& parameters) const;
    void readHeaders();
    std::span<const std::uint8_t> code(const Order& order) override;

    std::unique_ptr<x264_t, Close> encoder_;
    bool betweenPixels_ = false;  ///< motion is searched for there too
};

}  // namespace lumicrate::media
