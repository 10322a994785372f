// VideoEncoder: pictures in, coded samples out, one for one and at once.
//
// Made for screens: most of a picture is usually the same as before, and the capture says which part is not.
// What is coded is coded at constant quality under the bit-rate ceiling (see RateControl). Nothing is held
// back or reordered: a picture's sample is there when encode returns. What all codecs share is here; each is
// a derived class that codes one picture as it is told.
#pragma once

#include "Linux/Media/Encoding/EvenPicture.h"
#include "Linux/Media/Encoding/MacroblockMap.h"
#include "Linux/Media/Encoding/RateControl.h"
#include "Platform/CMSampleBuffer.h"

#include <cstdint>
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
class VideoEncoder {
 public:
    struct Settings {
        int width = 0;  ///< of the pictures that come, pixels; odd ones are coded one larger
        int height = 0;
        int bitRate = 0;  ///< bits a second, not exceeded over a few seconds
        int framesPerSecond = 0;
        int keyFrameInterval = 0;  ///< at most this many frames, at the full frame rate, between key pictures
    };

    VideoEncoder(const VideoEncoder&) = delete;
    VideoEncoder& operator=(const VideoEncoder&) = delete;
    virtual ~VideoEncoder() = default;

    int codedWidth() const { return evenSide(settings_.width); }
    int codedHeight() const { return evenSide(settings_.height); }
    /// The decoder configuration record, which also holds the parameter sets: samples hold none.
    const std::vector<std::uint8_t>& configuration() const { return configuration_; }

    /// Encodes a picture stamped `time`, in ticks of videoTimescale; times must grow. `info` is what capture
    /// says of the picture; without it everything may have changed. Throws PlatformError.
    EncodedPicture encode(const CVPixelBuffer& picture, std::int64_t time,
                          const std::optional<SCStreamFrameInfo>& info);
    /// Encodes a picture at the quality level, whatever the ceiling says and whatever was the same before:
    /// for pictures that need not arrive in time. A key picture where `key` is set. Throws PlatformError.
    EncodedPicture encodeAtBest(const CVPixelBuffer& picture, std::int64_t time, bool key);
    /// Encodes the last picture again, stamped `time`, if the ceiling allows it to become clearly finer by
    /// now: `rested` seconds have passed since it was due. Nothing when it is better to wait. Throws
    /// PlatformError.
    std::optional<EncodedPicture> refine(const CVPixelBuffer& picture, std::int64_t time, double rested);
    /// Whether the ceiling made some part of the last picture clearly coarser than the quality level.
    bool isCoarse() const;

 protected:
    /// One picture as it is to be coded.
    struct Order {
        const CVPixelBuffer& picture;  ///< of the coded size
        std::int64_t time;             ///< ticks of videoTimescale
        bool key;                      ///< nothing before it may be needed to decode it or what follows
        int quantizer;
        /// The ceiling makes lasting motion coarse, so that saving bits is worth time.
        bool strained;
        /// A flag for each macroblock in raster order, 1 where it is the same as in the picture before; empty
        /// when that is known of none.
        std::span<const std::uint8_t> constantBlocks;
    };

    explicit VideoEncoder(const Settings& settings);

    const Settings& settings() const { return settings_; }
    /// The quantizer of pictures that the ceiling does not bear on.
    int qualityQuantizer() const { return rate_.qualityQuantizer(); }
    /// The offset of the deblocking filter's thresholds, in the steps of two that both standards count in:
    /// with it the filter leaves pictures of the quality level alone.
    int deblockingOffset() const;
    /// How many threads it takes when each is trusted with `pixelRateOfThread` pixels a second.
    int threadsFor(double pixelRateOfThread) const;

    void setConfiguration(std::vector<std::uint8_t> record) { configuration_ = std::move(record); }

 private:
    /// Gives the picture's NAL units with four-byte lengths, good until the next call. Throws PlatformError.
    virtual std::span<const std::uint8_t> code(const Order& order) = 0;

    bool keyPictureIsDue(std::int64_t time) const;
    EncodedPicture encodeBegun(const CVPixelBuffer& picture, std::int64_t time, const PictureWork& work,
                               int quantizer);

    Settings settings_;
    RateControl rate_;
    MacroblockMap blocks_;
    EvenPicture even_;
    std::vector<std::uint8_t> configuration_;
    std::optional<std::int64_t> lastKey_;
};

}  // namespace lumicrate::media
