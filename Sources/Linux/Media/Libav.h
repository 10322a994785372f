// SPDX-License-Identifier: GPL-3.0-or-later
// Libav: owners of objects of the FFmpeg libraries.
#pragma once

#include <memory>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
}

namespace lumicrate::media {

struct FreeLibav {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* context) const { swr_free(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
    /// And its buffer.
    void operator()(AVIOContext* io) const {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

using OwnedCodec = std::unique_ptr<AVCodecContext, FreeLibav>;
using OwnedFrame = std::unique_ptr<AVFrame, FreeLibav>;
using OwnedParameters = std::unique_ptr<AVCodecParameters, FreeLibav>;
using OwnedPacket = std::unique_ptr<AVPacket, FreeLibav>;
using OwnedResampler = std::unique_ptr<SwrContext, FreeLibav>;

/// Never null; throws std::bad_alloc.
inline OwnedFrame makeFrame() {
    OwnedFrame frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}
inline OwnedPacket makePacket() {
    OwnedPacket packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

}  // namespace lumicrate::media
