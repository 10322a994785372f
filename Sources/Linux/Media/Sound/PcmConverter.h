// SPDX-License-Identifier: GPL-3.0-or-later
// PcmConverter: converts captured sound to interleaved 32-bit floats with the rate and channels of a track.
#pragma once

#include "Linux/Media/Libav.h"
#include "Platform/CMSampleBuffer.h"

#include <optional>
#include <vector>

namespace lumicrate::media {

/// One thread at a time.
class PcmConverter {
 public:
    PcmConverter(int sampleRate, int channels) : sampleRate_(sampleRate), channels_(channels) {}

    /// Converts the next piece. Sound of an unknown format gives nothing. The result is valid until the next
    /// call. Throws PlatformError.
    const std::vector<float>& convert(const AudioBufferList& audio);
    /// How much earlier than its piece the converted sound begins, in seconds: the resampler holds back the
    /// newest sound.
    double delay() const { return delay_; }

 private:
    void use(const AudioStreamBasicDescription& description, bool planar);

    int sampleRate_;
    int channels_;
    OwnedResampler context_;
    AudioStreamBasicDescription source_;
    bool planar_ = false;
    double delay_ = 0;
    std::vector<float> converted_;
};

/// Appends `make` frames, interpolated (cubic) from the `take` frames at `from`; the two numbers are nearly
/// equal. The first frame is unchanged.
void appendStretched(const float* from, std::size_t take, std::size_t make, int channels,
                     std::vector<float>& to);

}  // namespace lumicrate::media
