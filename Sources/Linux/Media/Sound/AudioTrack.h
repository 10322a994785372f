// SPDX-License-Identifier: GPL-3.0-or-later
// AudioTrack: encodes sound into an audio track of a movie.
#pragma once

#include "Linux/Media/Encoding/TrackEncoder.h"
#include "Linux/Media/Sound/AacEncoder.h"
#include "Linux/Media/Sound/AudioTimeline.h"
#include "Linux/Media/Sound/PcmConverter.h"
#include "Platform/AVAssetWriter.h"

#include <memory>
#include <vector>

namespace lumicrate::media {

/// The track has sound or silence at every instant from the start of the session to the end of the pictures.
class AudioTrack final : public TrackEncoder {
 public:
    explicit AudioTrack(const AVAudioOutputSettings& settings);

    void open(MovieDestination& movie) override;
    void encode(const CMSampleBuffer& sample, CMTime sessionStart) override;
    std::optional<std::chrono::milliseconds> idleTimeout() const override { return std::nullopt; }
    void handleIdle() override {}
    void finish(CMTime sessionStart, std::optional<MovieEnd> end) override;
    std::optional<CMTime> decidedEnd() const override { return std::nullopt; }
    double roomFor(const CMSampleBuffer& sample) const override;
    bool isHeldUp() const override;

 private:
    AudioTimeline& timelineFrom(CMTime sessionStart);
    void encodeSilence(std::int64_t frames);
    void encodePcm(std::span<const float> interleaved);

    AVAudioOutputSettings settings_;
    PcmConverter converter_;
    std::optional<AudioTimeline> timeline_;
    std::unique_ptr<AacEncoder> encoder_;
    std::vector<float> placed_;
    MovieDestination* movie_ = nullptr;
    int track_ = 0;
};

}  // namespace lumicrate::media
