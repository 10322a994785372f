// H264Encoder: pictures in, H.264 samples out, one for one and at once.
//
// Made for screens: most of a picture is usually the same as before, and the capture says which part is not.
// The encoder is told so block by block and leaves the rest alone; what is coded is coded at constant quality
// under the bit-rate ceiling (see RateControl). Nothing is held back or reordered: a picture's sample is
// there when encode returns.
#pragma once

#include "Linux/Media/MacroblockMap.h"
#include "Linux/Media/RateControl.h"
#include "Platform/CMSampleBuffer.h"

// x264.h wants the integer types before it.
#include <x264.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Ticks of the video track's clock in a second.
inline constexpr int videoTimescale = 90000;

/// A coded picture: NAL units with four-byte lengths. The bytes are good until the next picture is encoded.
struct EncodedPicture {
    std::span<const std::uint8_t> data;
    bool key = false;
    int quantizer = 0;
};

/// One thread at a time.
class H264Encoder {
 public:
    struct Settings {
        int width = 0;  ///< of the pictures that come, pixels; odd ones are coded one larger
        int height = 0;
        int bitRate = 0;  ///< bits a second, not exceeded over a few seconds
        int framesPerSecond = 0;
        int keyFrameInterval = 0;  ///< at most this many frames, at the full frame rate, between key pictures
    };

    /// Throws PlatformError when the encoder cannot be set up.
    explicit H264Encoder(const Settings& settings);

    int codedWidth() const { return (settings_.width + 1) & ~1; }
    int codedHeight() const { return (settings_.height + 1) & ~1; }
    /// The decoder configuration record ("avcC").
    const std::vector<std::uint8_t>& extradata() const { return extradata_; }

    /// Encodes a picture stamped `time`, in ticks of videoTimescale; times must grow. `info` is what capture
    /// says of the picture; without it everything may have changed. Throws PlatformError.
    EncodedPicture encode(const CVPixelBuffer& picture, std::int64_t time,
                          const std::optional<SCStreamFrameInfo>& info);
    /// Encodes the last picture again, stamped `time`, if the ceiling allows it to become clearly finer by
    /// now: `rested` seconds have passed since it was due. Nothing when it is better to wait. Throws
    /// PlatformError.
    std::optional<EncodedPicture> refine(const CVPixelBuffer& picture, std::int64_t time, double rested);
    /// Whether the ceiling made some part of the last picture clearly coarser than the quality level.
    bool isCoarse() const;

 private:
    struct Close {
        void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
    };

    void fillParameters(x264_param_t& parameters) const;
    void readHeaders();
    bool keyPictureIsDue(std::int64_t time) const;
    EncodedPicture encodeBegun(const CVPixelBuffer& picture, std::int64_t time, const PictureWork& work,
                               int quantizer);
    void fillPlanes(const CVPixelBuffer& picture, x264_image_t& image);
    void padLuma(const CVPixelBuffer& picture);

    Settings settings_;
    RateControl rate_;
    MacroblockMap blocks_;
    std::vector<std::uint8_t> paddedLuma_;
    std::unique_ptr<x264_t, Close> encoder_;
    std::vector<std::uint8_t> extradata_;
    std::optional<std::int64_t> lastKey_;
};

}  // namespace lumicrate::media
