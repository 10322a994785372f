// SPDX-License-Identifier: GPL-3.0-or-later
// AacEncoder: encodes sound as AAC.
//
// Lasting digital silence costs almost nothing: what the encoder makes of it is constant, and is repeated
// without encoding it again.
#pragma once

#include "Linux/Media/Libav.h"
#include "Linux/Media/MovieFile/MovieDestination.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace lumicrate::media {

/// One thread at a time.
class AacEncoder {
 public:
    /// Receives one coded sample. Times count frames from the first one passed to `encode`. The first sample
    /// has a negative time: the decoder needs it to settle, and players do not play it.
    using Sink = std::function<void(const MovieSample&)>;

    /// `channels` is 1 or 2. Throws PlatformError when the encoder cannot be set up.
    AacEncoder(int sampleRate, int channels, int bitRate);

    /// Encodes interleaved sound, −1 … 1. Throws PlatformError and what `sink` throws.
    void encode(std::span<const float> interleaved, const Sink& sink);
    /// Encodes the rest; the last sample ends exactly with the last frame. Nothing may be encoded after that.
    /// Throws as `encode` does.
    void finish(const Sink& sink);

    int channels() const { return channels_; }
    /// Of the track.
    isobmff::AudioDescription description() const;
    /// The frames before time zero in the first sample.
    std::uint32_t leadIn() const;

 private:
    void encodeWaiting(int frames, const Sink& sink);
    void receive(const Sink& sink);
    bool repeatSilence(const Sink& sink);

    int channels_;
    OwnedCodec context_;
    std::unique_ptr<AVAudioFifo, FreeLibav> waiting_;
    OwnedFrame frame_ = makeFrame();
    OwnedPacket packet_ = makePacket();
    std::vector<float> interleaved_;
    std::int64_t position_ = 0;       ///< frames passed to the encoder
    std::int64_t repeated_ = 0;       ///< silent frames that were not
    int silentPieces_ = 0;            ///< the last ones, of the encoder's size
    std::vector<std::uint8_t> last_;  ///< the last coded sample
    std::int64_t lastTime_ = 0;       ///< its time, in frames
    bool isConstant_ = false;         ///< the coded sample before the last one was the same
};

}  // namespace lumicrate::media
