// SPDX-License-Identifier: GPL-3.0-or-later
// SoundReader: decodes one sound track of a movie.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Produces interleaved stereo at 48000 Hz, at the times of the presentation to the sample, with silence
/// where the track has gaps. One thread. Throws PlatformError.
class SoundReader {
 public:
    static constexpr int sampleRate = 48000;
    static constexpr int channels = 2;

    SoundReader(const std::filesystem::path& source, int track);

    /// Adds the next sound to `mix`. Returns how many frames the track had; fewer than requested only at its
    /// end.
    std::int64_t addTo(std::span<float> mix);

 private:
    bool decodeMore();
    void place(const AVFrame& frame);
    void convert(const AVFrame* frame);
    void prepare(const AVFrame& frame);
    std::int64_t buffered() const { return static_cast<std::int64_t>(sound_.size()) / channels; }

    InputMovie input_;
    int track_;
    OwnedCodec decoder_;
    OwnedPacket packet_;
    OwnedFrame frame_;
    OwnedResampler resampler_;
    OwnedFrame format_;            ///< the input format of the resampler
    std::int64_t end_;             ///< of the presentation, in frames
    std::int64_t packetsEnd_ = 0;  ///< of the packets sent to the decoder
    std::vector<float> sound_;     ///< decoded but not yet mixed
    std::int64_t position_ = 0;    ///< of its first frame, from the movie's time zero
    bool drained_ = false;
};

}  // namespace lumicrate::media
