// SPDX-License-Identifier: GPL-3.0-or-later
// VideoEncoder: encodes pictures, one sample for each, without delay or reordering.
//
// Made for screens: usually most of a picture is the same as before, and capture says which part is not. The
// quality is constant under a bit-rate ceiling (see RateControl). This base class has what the codecs share;
// a derived class codes one picture as an Order says.
#pragma once

#include "Linux/Media/Encoding/MacroblockMap.h"
#include "Linux/Media/Encoding/RateControl.h"
#include "Linux/Media/Encoding/UncoveredBlocks.h"
#include "Platform/AVAssetWriter.h"
#include "Platform/CMSampleBuffer.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Ticks of the video track's clock in a second.
inline constexpr int videoTimescale = 90000;

/// A coded picture: NAL units with four-byte lengths. The bytes are valid until the next picture is encoded.
struct EncodedPicture {
    std::span<const std::uint8_t> data;
    bool key = false;
    int quantizer = 0;
    bool isRepeat = false;  ///< the source is the same as that of the picture before
};

constexpr int evenSide(int pixels) {
    return (pixels + 1) & ~1;
}

/// Makes pictures as large as the coder needs them.
class PaddedPicture {
 public:
    /// Returns the picture itself if it has that size, which is even; otherwise a copy with the last column
    /// and row repeated, valid until the next call and while `picture` lives.
    const CVPixelBuffer& of(const CVPixelBuffer& picture, int width, int height);

 private:
    CVPixelBuffer padded_;
    std::vector<std::uint8_t> luma_;
    std::vector<std::uint8_t> chroma_;
};

/// One thread at a time.
class VideoEncoder {
 public:
    struct Settings {
        int width = 0;  ///< of the source pictures, pixels; coded at an even size that the codec has
        int height = 0;
        int bitRate = 0;  ///< bits a second; the ceiling, averaged over a few seconds
        int framesPerSecond = 0;
        /// Maximum between key pictures, in frames at the full frame rate. Does not apply to repeats.
        int keyFrameInterval = 0;
        bool isNaturalVideo = false;  ///< a camera's: noise and motion everywhere
        /// Maximum between key pictures while pictures repeat the one before, in seconds.
        double repeatedKeyInterval = AVVideoCompressionProperties().maxStillKeyFrameInterval;
    };

    VideoEncoder(const VideoEncoder&) = delete;
    VideoEncoder& operator=(const VideoEncoder&) = delete;
    virtual ~VideoEncoder() = default;

    int codedWidth() const { return std::max(evenSide(settings_.width), minSide_); }
    int codedHeight() const { return std::max(evenSide(settings_.height), minSide_); }
    /// The decoder configuration record with the parameter sets, which samples do not contain.
    const std::vector<std::uint8_t>& configuration() const { return configuration_; }

    /// Saves processor time with the following pictures: each level makes them four quantizers coarser than
    /// the quality level. refine() ignores it.
    void setSaving(int level) { saving_ = level; }
    /// Encodes a picture of the given time, in ticks of videoTimescale; times must increase. `info` tells
    /// what changed; without it everything may have. The sequence number of the previous picture means that
    /// picture again: only blocks that are coarse are coded, and key pictures come at `repeatedKeyInterval`.
    /// Throws PlatformError.
    EncodedPicture encode(const CVPixelBuffer& picture, std::int64_t time,
                          const std::optional<SCStreamFrameInfo>& info);
    /// Encodes a picture at the quality level, ignoring the ceiling and what was the same before. For offline
    /// use. Throws PlatformError.
    EncodedPicture encodeAtBest(const CVPixelBuffer& picture, std::int64_t time, bool key);
    /// Encodes the last picture again as a sample of the given time, if by now the ceiling allows a clearly
    /// finer one; nothing if waiting longer is better. `idleSeconds` have passed since the picture was due.
    /// Throws PlatformError.
    std::optional<EncodedPicture> refine(const CVPixelBuffer& picture, std::int64_t time, double idleSeconds);
    /// Whether some part of the last picture is clearly coarser than the quality level, due to the ceiling.
    bool isCoarse() const;

 protected:
    /// How to code one picture.
    struct Order {
        const CVPixelBuffer& picture;  ///< of the coded size
        std::int64_t time;             ///< ticks of videoTimescale
        bool key;                      ///< decodable without any earlier picture, and so is what follows
        int quantizer;
        /// The ceiling makes lasting motion coarse, so saving bits is worth more processor time.
        bool isStrained;
        /// Of a key picture: what follows is expected to be mostly copies of it, moved.
        bool isCopied;
        /// How far a large part of the picture was scrolled, if it was.
        std::optional<ScrollDistance> scroll;
        /// One flag for each macroblock in raster order: 1 if it is the same as in the previous picture.
        /// Empty if that is known of none.
        std::span<const std::uint8_t> constantBlocks;
        /// One flag for each macroblock: 1 if it is coded finer than the picture, by uncoveredFiner. Empty if
        /// none is.
        std::span<const std::uint8_t> uncoveredBlocks;
        /// Macroblocks to code: those that changed, and unchanged ones that become finer.
        int codedBlocks;
    };

    /// `minSide` is the smallest width and height that the codec has, even.
    VideoEncoder(const Settings& settings, int minSide);

    const Settings& settings() const { return settings_; }
    /// The quantizer of pictures that the ceiling does not limit.
    int qualityQuantizer() const { return rate_.qualityQuantizer(); }
    /// See RateControl. For codecs that code a key picture in much less time than a second, and blocks of a
    /// picture at different quantizers.
    void allowCopying() { rate_.allowCopying(); }
    /// The finest quantizer of any picture.
    int finestQuantizer() const { return rate_.finestQuantizer(); }
    /// The deblocking filter's offset, in the standards' units of two quantizers, with which the filter
    /// leaves pictures of the quality level unchanged.
    int deblockingOffset() const;
    /// How many threads are needed if each encodes this many pixels a second.
    int threadsFor(double pixelsPerThread) const;

    void setConfiguration(std::vector<std::uint8_t> record) { configuration_ = std::move(record); }

 private:
    /// Whether code() can code a picture based on the previous one; otherwise it becomes a key picture.
    virtual bool canContinue(const Order& /*order*/) const { return true; }
    /// Returns the NAL units with four-byte lengths, valid until the next call. Throws PlatformError.
    virtual std::span<const std::uint8_t> code(const Order& order) = 0;

    bool keyPictureIsDue(std::int64_t time) const;
    bool findUncovered(const CVPixelBuffer& picture, bool key);
    EncodedPicture encodeBegun(const CVPixelBuffer& picture, std::int64_t time, PictureWork work,
                               int quantizer, std::optional<ScrollDistance> scroll);

    Settings settings_;
    int minSide_;
    RateControl rate_;
    int saving_ = 0;
    MacroblockMap blocks_;
    ScrollSearch scrolls_;
    UncoveredBlocks uncovered_;
    PaddedPicture padded_;
    std::vector<std::uint8_t> configuration_;
    std::optional<std::int64_t> lastKey_;
};

}  // namespace lumicrate::media
