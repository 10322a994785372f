// ParallelAacEncoder: a whole sound track as AAC, coded by all processors at once.
#pragma once

#include "Linux/Media/Sound/AacEncoder.h"

#include <functional>
#include <vector>

namespace lumicrate::media {

/// One after the other each processor gets a stretch of some seconds. Every stretch is coded with a little of
/// the sound before and after it, which is thrown away again: by its own beginning an encoder has settled,
/// and as both sides of a seam stem from the same sound, their windows overlap as if one had coded them all.
class ParallelAacEncoder {
 public:
    /// How many frames a stretch has, a whole number of AAC samples.
    static constexpr std::int64_t stretchLength = 512 * 1024;

    /// `channels` is 1 or 2.
    ParallelAacEncoder(int sampleRate, int channels, int bitRate)
        : sampleRate_(sampleRate), channels_(channels), bitRate_(bitRate) {}

    /// The next piece of interleaved sound, −1 … 1, of any length; empty at the end.
    using Source = std::function<std::vector<float>()>;

    /// Codes all that `source` gives; both are called on this thread, `sink` in the order of time. Throws
    /// PlatformError, and what the two throw.
    void encode(const Source& source, const AacEncoder::Sink& sink) const;
    /// For the file that the samples go to. Throws PlatformError.
    isobmff::AudioDescription description() const { return make().description(); }

 private:
    AacEncoder make() const { return {sampleRate_, channels_, bitRate_}; }

    int sampleRate_;
    int channels_;
    int bitRate_;
};

}  // namespace lumicrate::media
