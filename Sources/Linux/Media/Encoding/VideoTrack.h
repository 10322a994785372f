// SPDX-License-Identifier: GPL-3.0-or-later
// VideoTrack: encodes pictures into a movie's video track.
#pragma once

#include "Linux/Media/Encoding/TrackEncoder.h"
#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Platform/AVAssetWriter.h"

#include <memory>

namespace lumicrate::media {

/// If the bit-rate ceiling made a picture coarse and the screen is idle afterwards, the picture is encoded
/// again, one tick later, up to three times until it is crisp. Pictures with a duration of their own become
/// crisp by being repeated.
class VideoTrack final : public TrackEncoder {
 public:
    /// canEncode() must hold for the settings.
    explicit VideoTrack(const AVVideoOutputSettings& settings);

    /// Whether pictures of that size can be encoded.
    static bool canEncode(const AVVideoOutputSettings& settings);

    void open(MovieDestination& movie) override;
    void encode(const CMSampleBuffer& sample, CMTime sessionStart) override;
    void setSaving(int level) override { encoder_->setSaving(level); }
    std::optional<std::chrono::milliseconds> idleTimeout() const override;
    void handleIdle() override;
    void finish(CMTime sessionStart, std::optional<MovieEnd> end) override;
    std::optional<CMTime> decidedEnd() const override;
    double roomFor(const CMSampleBuffer& sample) const override;
    bool isHeldUp() const override;

 private:
    void write(const EncodedPicture& picture, std::int64_t time);

    AVVideoCodecType codec_;
    VideoEncoder::Settings settings_;
    std::unique_ptr<VideoEncoder> encoder_;
    MovieDestination* movie_ = nullptr;
    int track_ = 0;
    /// Time of the last sample; ticks.
    std::optional<std::int64_t> lastTime_;
    /// Where the last sample ends; ticks.
    std::int64_t end_ = 0;
    /// The last picture while it is coarse, to be encoded again.
    std::shared_ptr<const CVPixelBuffer> coarse_;
    int idlePeriods_ = 0;  ///< since the last picture or its repeat
    int refinements_ = 0;  ///< of the last picture
};

}  // namespace lumicrate::media
