// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/CodedClip.h"

#include "Tests/Stage/Measure.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace lumicrate::bench {

namespace {

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

using Decoder = std::unique_ptr<AVCodecContext, Free>;

void require(bool isTrue) {
    if (!isTrue) throw std::runtime_error("The coded pictures cannot be decoded");
}

Decoder openDecoder(AVCodecID codec, const std::vector<std::uint8_t>& configuration) {
    const AVCodec* kind = avcodec_find_decoder(codec);
    require(kind != nullptr);
    Decoder decoder(avcodec_alloc_context3(kind));
    require(decoder != nullptr);
    decoder->extradata =
        static_cast<std::uint8_t*>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    require(decoder->extradata != nullptr);
    std::copy(configuration.begin(), configuration.end(), decoder->extradata);
    decoder->extradata_size = static_cast<int>(configuration.size());
    // One picture per sample, without delay.
    decoder->thread_count = 1;
    decoder->flags |= AV_CODEC_FLAG_LOW_DELAY;
    require(avcodec_open2(decoder.get(), kind, nullptr) == 0);
    return decoder;
}

void send(AVCodecContext* decoder, const std::vector<std::uint8_t>& data) {
    const std::unique_ptr<AVPacket, Free> packet(av_packet_alloc());
    require(packet && av_new_packet(packet.get(), static_cast<int>(data.size())) == 0);
    std::copy(data.begin(), data.end(), packet->data);
    require(avcodec_send_packet(decoder, packet.get()) == 0);
}

double similarityOf(const CVPixelBuffer& picture, const AVFrame& frame) {
    const stage::Plane original{picture.luma, picture.lumaStride, picture.width, picture.height, 1};
    return stage::structuralSimilarity(original,
                                       {frame.data[0], frame.linesize[0], picture.width, picture.height, 1});
}

}  // namespace

CodedClip::CodedClip(AVCodecID codec, std::vector<std::uint8_t> configuration)
    : codec_(codec), configuration_(std::move(configuration)) {}

void CodedClip::append(const CVPixelBuffer& picture, const media::EncodedPicture& coded) {
    samples_.push_back({&picture, {coded.data.begin(), coded.data.end()}});
}

double CodedClip::similarity() const {
    const auto decoder = openDecoder(codec_, configuration_);
    const std::unique_ptr<AVFrame, Free> frame(av_frame_alloc());
    require(frame != nullptr);
    double sum = 0;
    for (const Sample& sample : samples_) {
        send(decoder.get(), sample.data);
        require(avcodec_receive_frame(decoder.get(), frame.get()) == 0);
        sum += similarityOf(*sample.picture, *frame);
    }
    return samples_.empty() ? 1 : sum / static_cast<double>(samples_.size());
}

}  // namespace lumicrate::bench
