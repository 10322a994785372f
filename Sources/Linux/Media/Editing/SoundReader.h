// SoundReader: one sound track of a movie, decoded.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Gives interleaved stereo at 48000 Hz, placed to the sample where the movie presents it, with silence where
/// the track has nothing. One thread; throws PlatformError.
class SoundReader {
 public:
    static constexpr int sampleRate = 48000;
    static constexpr int channels = 2;

    SoundReader(const std::filesystem::path& source, int track);

    /// Adds the sound from the frame after the last call's on to `mix`. Gives how many frames the track still
    /// had for it: fewer than asked for only at its end.
    std::int64_t addTo(std::span<float> mix);

 private:
    bool decodeMore();
    void take(const AVFrame& frame);
    void convert(const AVFrame* frame);
    void prepare(const AVFrame& frame);
    std::int64_t buffered() const { return static_cast<std::int64_t>(sound_.size()) / channels; }

    InputMovie input_;
    int track_;
    OwnedCodec decoder_;
    OwnedPacket packet_;
    OwnedFrame frame_;
    OwnedResampler resampler_;
    OwnedFrame format_;            ///< what the resampler was made for
    std::int64_t end_;             ///< of what is presented, in frames
    std::int64_t packetsEnd_ = 0;  ///< of the packets that went into the decoder
    std::vector<float> sound_;     ///< decoded and not yet given
    std::int64_t position_ = 0;    ///< of its first frame, counted from the movie's time zero
    bool drained_ = false;
};

}  // namespace lumicrate::media
