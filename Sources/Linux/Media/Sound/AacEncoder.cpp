// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/AacEncoder.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace lumicrate::media {

namespace {

/// After so many silent pieces of the encoder's size, it remembers nothing else.
constexpr int settledAfter = 4;

constexpr const char* cannotSetUp = translatable("The AAC encoder couldn't be set up");
constexpr const char* cannotEncode = translatable("The sound couldn't be encoded");

template <class Pointer>
void require(const Pointer& pointer) {
    if (!pointer) failWithCode(cannotSetUp, AVERROR(ENOMEM));
}

}  // namespace

AacEncoder::AacEncoder(int sampleRate, int channels, int bitRate) : channels_(channels) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) failWithCode(cannotSetUp, AVERROR_ENCODER_NOT_FOUND);
    context_.reset(avcodec_alloc_context3(codec));
    require(context_);
    context_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context_->sample_rate = sampleRate;
    context_->time_base = {1, sampleRate};
    context_->bit_rate = bitRate;
    av_channel_layout_default(&context_->ch_layout, channels);
    // The decoder's configuration goes into the head of the file.
    context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    checked(avcodec_open2(context_.get(), codec, nullptr), cannotSetUp);
    waiting_.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLT, channels, context_->frame_size * 2));
    require(waiting_);
    frame_->format = AV_SAMPLE_FMT_FLTP;
    frame_->sample_rate = sampleRate;
    checked(av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout), cannotSetUp);
    frame_->nb_samples = context_->frame_size;
    checked(av_frame_get_buffer(frame_.get(), 0), cannotSetUp);
    log(LogArea::encoder, "AAC: ", sampleRate, " Hz, ", channels, " channels, ", bitRate, " bit/s");
}

isobmff::AudioDescription AacEncoder::description() const {
    const std::span configuration(context_->extradata, static_cast<std::size_t>(context_->extradata_size));
    return {context_->sample_rate,
            channels_,
            static_cast<int>(context_->bit_rate),
            {configuration.begin(), configuration.end()}};
}

std::uint32_t AacEncoder::leadIn() const {
    return static_cast<std::uint32_t>(context_->initial_padding);
}

void AacEncoder::encode(std::span<const float> interleaved, const Sink& sink) {
    const auto frames = static_cast<int>(interleaved.size() / static_cast<std::size_t>(channels_));
    std::array<void*, 1> data{const_cast<float*>(interleaved.data())};
    checked(av_audio_fifo_write(waiting_.get(), data.data(), frames), cannotEncode);
    while (av_audio_fifo_size(waiting_.get()) >= context_->frame_size)
        encodeWaiting(context_->frame_size, sink);
}

void AacEncoder::finish(const Sink& sink) {
    if (const int left = av_audio_fifo_size(waiting_.get()); left > 0) encodeWaiting(left, sink);
    if (position_ == 0) return;
    checked(avcodec_send_frame(context_.get(), nullptr), cannotEncode);
    receive(sink);
}

void AacEncoder::encodeWaiting(int frames, const Sink& sink) {
    interleaved_.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels_));
    std::array<void*, 1> data{interleaved_.data()};
    checked(av_audio_fifo_read(waiting_.get(), data.data(), frames), cannotEncode);
    const bool isSilent = std::ranges::all_of(interleaved_, [](float value) { return value == 0; });
    silentPieces_ = isSilent && frames == context_->frame_size ? silentPieces_ + 1 : 0;
    if (repeatSilence(sink)) return;
    // The encoder may still use the samples of the last frame.
    frame_->nb_samples = context_->frame_size;
    checked(av_frame_make_writable(frame_.get()), cannotEncode);
    frame_->nb_samples = frames;
    for (int channel = 0; channel < channels_; ++channel) {
        auto* plane = reinterpret_cast<float*>(frame_->extended_data[channel]);
        for (int i = 0; i < frames; ++i)
            plane[i] = interleaved_[static_cast<std::size_t>(i) * static_cast<std::size_t>(channels_) +
                                    static_cast<std::size_t>(channel)];
    }
    frame_->pts = position_;
    position_ += frames;
    checked(avcodec_send_frame(context_.get(), frame_.get()), cannotEncode);
    receive(sink);
}

void AacEncoder::receive(const Sink& sink) {
    for (;;) {
        const int result = avcodec_receive_packet(context_.get(), packet_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        checked(result, cannotEncode);
        const std::span coded(packet_->data, static_cast<std::size_t>(packet_->size));
        isConstant_ = std::ranges::equal(last_, coded);
        last_.assign(coded.begin(), coded.end());
        lastTime_ = packet_->pts + repeated_;
        sink({coded, lastTime_, packet_->duration, true});
        av_packet_unref(packet_.get());
    }
}

/// The encoder still holds a silent piece. It will be coded with the sound that comes after the silence, as
/// if it were the last piece of it.
bool AacEncoder::repeatSilence(const Sink& sink) {
    if (silentPieces_ <= settledAfter || !isConstant_) return false;
    repeated_ += context_->frame_size;
    lastTime_ += context_->frame_size;
    sink({last_, lastTime_, context_->frame_size, true});
    return true;
}

}  // namespace lumicrate::media
