// SPDX-License-Identifier: GPL-3.0-or-later
// Libav: owners of objects of the FFmpeg libraries, and how a movie file is opened with them.
#pragma once

#include <filesystem>
#include <memory>
#include <new>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
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
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

using OwnedCodec = std::unique_ptr<AVCodecContext, FreeLibav>;
using OwnedFrame = std::unique_ptr<AVFrame, FreeLibav>;
using OwnedParameters = std::unique_ptr<AVCodecParameters, FreeLibav>;
using OwnedPacket = std::unique_ptr<AVPacket, FreeLibav>;
using InputContainer = std::unique_ptr<AVFormatContext, FreeLibav>;
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

/// Opens a file and reads its headers. Only containers that hold their media themselves are allowed, because
/// a playlist could make the libraries open anything. `maxProbed` limits the bytes, and the microseconds, of
/// media that are examined; 0 for the libraries' defaults. Returns a code of the libraries, negative on
/// failure.
inline int openContainer(const std::filesystem::path& path, int maxProbed, InputContainer& opened) {
    av_log_set_level(AV_LOG_QUIET);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", "mov,matroska,avi,mpegts,mpeg,flv,ogg,asf,gif,mp3,wav,flac", 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    if (maxProbed > 0) {
        av_dict_set_int(&options, "probesize", maxProbed, 0);
        av_dict_set_int(&options, "analyzeduration", maxProbed, 0);
    }
    AVFormatContext* input = nullptr;
    const int result = avformat_open_input(&input, ("file:" + path.string()).c_str(), nullptr, &options);
    av_dict_free(&options);
    opened.reset(result < 0 ? nullptr : input);
    return result;
}

}  // namespace lumicrate::media
