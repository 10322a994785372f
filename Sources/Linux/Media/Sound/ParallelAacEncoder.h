// SPDX-License-Identifier: GPL-3.0-or-later
// ParallelAacEncoder: encodes a whole sound track as AAC on all processors.
#pragma once

#include "Linux/Media/Sound/AacEncoder.h"

#include <functional>
#include <vector>

namespace lumicrate::media {

/// The track is cut into stretches of about 11 seconds, which are encoded in parallel. Each is encoded
/// together with a little of the sound before and after it, and the samples of these parts are dropped: so
/// each encoder has settled when its stretch begins, and the overlapping windows on both sides of a seam come
/// from the same sound, as if one encoder had encoded everything.
class ParallelAacEncoder {
 public:
    /// Frames of a stretch, a whole number of AAC samples.
    static constexpr std::int64_t stretchLength = 512 * 1024;

    /// `channels` is 1 or 2.
    ParallelAacEncoder(int sampleRate, int channels, int bitRate)
        : sampleRate_(sampleRate), channels_(channels), bitRate_(bitRate) {}

    /// Returns the next piece of interleaved sound, −1 … 1, of any length; empty at the end.
    using Source = std::function<std::vector<float>()>;

    /// Encodes everything. Both are called on this thread, `sink` in order of time. Throws PlatformError and
    /// what they throw.
    void encode(const Source& source, const AacEncoder::Sink& sink) const;
    /// Of the track. Throws PlatformError.
    isobmff::AudioDescription description() const { return make().description(); }

 private:
    AacEncoder make() const { return {sampleRate_, channels_, bitRate_}; }

    int sampleRate_;
    int channels_;
    int bitRate_;
};

}  // namespace lumicrate::media
