// PcmConverter: sound as capture delivers it to interleaved 32-bit float of the track's rate and channels.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <memory>
#include <optional>
#include <vector>

struct SwrContext;

namespace lumicrate::media {

/// One thread at a time.
class PcmConverter {
 public:
    PcmConverter(int sampleRate, int channels) : sampleRate_(sampleRate), channels_(channels) {}

    /// Converts the next piece; sound without a format that is known gives nothing. Pieces of one format
    /// continue each other. Throws PlatformError. The result is good until the next call.
    const std::vector<float>& convert(const AudioBufferList& audio);
    /// By how much the converted sound lies before the piece that it was made of, in seconds: a change of
    /// rate keeps the newest sound back.
    double delay() const { return delay_; }

 private:
    struct Free {
        void operator()(SwrContext* context) const;
    };

    void use(const AudioStreamBasicDescription& description, bool planar);

    int sampleRate_;
    int channels_;
    std::unique_ptr<SwrContext, Free> context_;
    AudioStreamBasicDescription source_;
    bool planar_ = false;
    double delay_ = 0;
    std::vector<float> converted_;
};

/// Appends `make` frames made of the `take` frames at `from`, by cubic interpolation; the two numbers are
/// about the same. The first frame made is the first one taken.
void appendStretched(const float* from, std::size_t take, std::size_t make, int channels,
                     std::vector<float>& to);

}  // namespace lumicrate::media
