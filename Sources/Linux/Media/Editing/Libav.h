// Owners of what FFmpeg's libraries hand out.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

namespace lumicrate::media {

struct FreeLibav {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* context) const { swr_free(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

using OwnedCodec = std::unique_ptr<AVCodecContext, FreeLibav>;
using OwnedFrame = std::unique_ptr<AVFrame, FreeLibav>;
using OwnedParameters = std::unique_ptr<AVCodecParameters, FreeLibav>;
using OwnedPacket = std::unique_ptr<AVPacket, FreeLibav>;
using OwnedResampler = std::unique_ptr<SwrContext, FreeLibav>;

/// Throw std::bad_alloc rather than give none.
OwnedFrame makeFrame();
OwnedPacket makePacket();

}  // namespace lumicrate::media
