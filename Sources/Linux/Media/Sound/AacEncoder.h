// AacEncoder: sound of any length in, AAC samples out.
#pragma once

#include "Linux/Media/MovieFile/MovieFile.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

struct AVAudioFifo;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace lumicrate::media {

/// One thread at a time.
class AacEncoder {
 public:
    /// Takes one coded sample; times count frames, the first frame given to `encode` being number zero. The
    /// first sample's time is negative: it holds what a decoder needs to settle and is not heard.
    using Sink = std::function<void(const MovieSample&)>;

    /// `channels` is 1 or 2. Throws PlatformError when the encoder cannot be set up.
    AacEncoder(int sampleRate, int channels, int bitRate);

    /// Encodes interleaved sound, −1 … 1. Throws PlatformError, and what `sink` throws.
    void encode(std::span<const float> interleaved, const Sink& sink);
    /// Encodes what is left; the last sample lasts exactly until the last frame. Nothing may follow. Throws
    /// alike.
    void finish(const Sink& sink);

    int channels() const { return channels_; }
    /// For the file that the samples go to.
    isobmff::AudioDescription description() const;
    /// How many frames before time zero the first sample begins.
    std::uint32_t leadIn() const;

 private:
    struct Free {
        void operator()(AVAudioFifo* fifo) const;
        void operator()(AVCodecContext* context) const;
        void operator()(AVFrame* frame) const;
        void operator()(AVPacket* packet) const;
    };

    void encodeWaiting(int frames, const Sink& sink);
    void receive(const Sink& sink);

    int channels_;
    std::unique_ptr<AVCodecContext, Free> context_;
    std::unique_ptr<AVAudioFifo, Free> waiting_;
    std::unique_ptr<AVFrame, Free> frame_;
    std::unique_ptr<AVPacket, Free> packet_;
    std::vector<float> interleaved_;
    std::int64_t position_ = 0;
};

}  // namespace lumicrate::media
