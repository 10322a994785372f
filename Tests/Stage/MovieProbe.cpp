// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/MovieProbe.h"

#include "Tests/Linux/TemporaryFolder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <utility>

namespace lumicrate::stage {

namespace {

struct FreeCodec {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

int check(int status, const std::string& what) {
    if (status >= 0) return status;
    char reason[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, reason, sizeof reason);
    throw std::runtime_error(what + ": " + reason);
}

struct CloseFormat {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using Format = std::unique_ptr<AVFormatContext, CloseFormat>;

/// Without a look at the samples.
Format openRaw(const std::filesystem::path& file, AVDictionary** options = nullptr) {
    AVFormatContext* context = nullptr;
    check(avformat_open_input(&context, file.c_str(), nullptr, options), "Could not open " + file.string());
    return Format(context);
}

Format open(const std::filesystem::path& file) {
    Format format = openRaw(file);
    check(avformat_find_stream_info(format.get(), nullptr), "Could not understand " + file.string());
    return format;
}

std::string text(const char* name) {
    return name != nullptr ? name : "";
}

double inSeconds(std::int64_t value, AVRational timeBase) {
    return value == AV_NOPTS_VALUE ? 0 : static_cast<double>(value) * av_q2d(timeBase);
}

Track describe(const AVStream& stream) {
    const auto& codec = *stream.codecpar;
    Track track;
    track.index = stream.index;
    track.codec = text(avcodec_get_name(codec.codec_id));
    char tag[AV_FOURCC_MAX_STRING_SIZE];
    track.codecTag = av_fourcc_make_string(tag, codec.codec_tag);
    track.profile = text(avcodec_profile_name(codec.codec_id, codec.profile));
    const auto* handler = av_dict_get(stream.metadata, "handler_name", nullptr, 0);
    track.handler = handler != nullptr ? handler->value : "";
    track.startTime = inSeconds(stream.start_time, stream.time_base);
    track.duration = inSeconds(stream.duration, stream.time_base);
    track.sampleCount = stream.nb_frames;
    if (codec.codec_type == AVMEDIA_TYPE_VIDEO) {
        track.kind = Track::Kind::Video;
        track.width = codec.width;
        track.height = codec.height;
        track.pixelFormat = text(av_get_pix_fmt_name(static_cast<AVPixelFormat>(codec.format)));
        track.colorPrimaries = text(av_color_primaries_name(codec.color_primaries));
        track.colorTransfer = text(av_color_transfer_name(codec.color_trc));
        track.colorMatrix = text(av_color_space_name(codec.color_space));
        track.colorRange = text(av_color_range_name(codec.color_range));
    } else if (codec.codec_type == AVMEDIA_TYPE_AUDIO) {
        track.kind = Track::Kind::Audio;
        track.sampleRate = codec.sample_rate;
        track.channels = codec.ch_layout.nb_channels;
    }
    return track;
}

/// Decodes one track of a file that was just opened and passes each presented frame, in order, to `visitor`,
/// which returns false to stop.
void decode(AVFormatContext* format, int trackIndex, const std::function<bool(const AVFrame&)>& visitor) {
    const auto* stream = format->streams[trackIndex];
    const auto* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (codec == nullptr) throw std::runtime_error("There is no decoder for the track");
    const std::unique_ptr<AVCodecContext, FreeCodec> decoder(avcodec_alloc_context3(codec));
    check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "The track cannot be decoded");
    // The decoder needs it to move a frame's time when it drops samples at its beginning.
    decoder->pkt_timebase = stream->time_base;
    // The thread sanitizer does not understand how the decoder's threads synchronize.
    decoder->thread_count = 1;
    check(avcodec_open2(decoder.get(), codec, nullptr), "The decoder does not open");

    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, FreeFrame> frame(av_frame_alloc());
    bool wanted = true;
    for (bool ended = false; wanted && !ended;) {
        const int read = av_read_frame(format, packet.get());
        ended = read == AVERROR_EOF;
        if (!ended) check(read, "The file cannot be read");
        if (ended || packet->stream_index == trackIndex) {
            check(avcodec_send_packet(decoder.get(), ended ? nullptr : packet.get()),
                  "A sample cannot be decoded");
            while (wanted) {
                const int status = avcodec_receive_frame(decoder.get(), frame.get());
                if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) break;
                check(status, "A frame cannot be decoded");
                wanted = visitor(*frame);
            }
        }
        av_packet_unref(packet.get());
    }
}

Picture pictureOf(const AVFrame& frame, AVRational timeBase) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const auto* description = av_pix_fmt_desc_get(format);
    if (description == nullptr || description->nb_components < 3 || description->comp[0].depth != 8 ||
        (description->flags & AV_PIX_FMT_FLAG_BITSTREAM) != 0) {
        throw std::runtime_error("Pictures of the kind " + text(av_get_pix_fmt_name(format)) +
                                 " are not looked at");
    }
    const std::shared_ptr<AVFrame> reference(av_frame_clone(&frame), FreeFrame());
    Picture picture;
    picture.memory = reference;
    picture.time = inSeconds(frame.best_effort_timestamp, timeBase);
    picture.width = frame.width;
    picture.height = frame.height;
    picture.isRgb = (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    for (std::size_t i = 0; i < picture.planes.size(); ++i) {
        const auto& component = description->comp[i];
        const bool isChroma = i > 0 && !picture.isRgb;
        auto& plane = picture.planes[i];
        plane.data = reference->data[component.plane] + component.offset;
        plane.stride = reference->linesize[component.plane];
        plane.step = component.step;
        plane.width = isChroma ? AV_CEIL_RSHIFT(frame.width, description->log2_chroma_w) : frame.width;
        plane.height = isChroma ? AV_CEIL_RSHIFT(frame.height, description->log2_chroma_h) : frame.height;
    }
    return picture;
}

void append(Sound& sound, const AVFrame& frame, double time) {
    if (frame.format != AV_SAMPLE_FMT_FLTP)
        throw std::runtime_error("Only sound that decodes to planar floats is supported");
    if (sound.samples.empty()) {
        sound.sampleRate = frame.sample_rate;
        sound.startTime = time;
        sound.samples.resize(static_cast<std::size_t>(frame.ch_layout.nb_channels));
    }
    // A movie's time scale may be coarser than a sample: up to a millisecond of deviation is rounding.
    const auto place = std::lround((time - sound.startTime) * sound.sampleRate);
    const auto end = static_cast<long>(sound.samples[0].size());
    const bool isGap = place > end + sound.sampleRate / 1000;
    if (isGap || place < end - sound.sampleRate / 1000) ++sound.discontinuities;
    for (std::size_t channel = 0; channel < sound.samples.size(); ++channel) {
        auto& samples = sound.samples[channel];
        if (isGap) samples.resize(static_cast<std::size_t>(place), 0.0F);
        const auto* from = reinterpret_cast<const float*>(frame.extended_data[channel]);
        samples.insert(samples.end(), from, from + frame.nb_samples);
    }
}

}  // namespace

std::vector<std::vector<Packet>> packetsOf(const std::filesystem::path& file) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "advanced_editlist", "0", 0);  // which leaves out what an edit list hides
    const Format format = openRaw(file, &options);
    av_dict_free(&options);
    // A parser would correct the key flags.
    format->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    std::vector<std::vector<Packet>> packets(format->nb_streams);
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        const auto track = static_cast<std::size_t>(packet->stream_index);
        const AVRational timeBase = format->streams[track]->time_base;
        packets.at(track).push_back({inSeconds(packet->pts, timeBase), inSeconds(packet->duration, timeBase),
                                     packet->size, (packet->flags & AV_PKT_FLAG_KEY) != 0, packet->pos,
                                     std::string(packet->data, packet->data + packet->size)});
        av_packet_unref(packet.get());
    }
    return packets;
}

MovieProbe::MovieProbe(std::filesystem::path file) : file_(std::move(file)) {
    const Format format = open(file_);
    for (unsigned i = 0; i < format->nb_streams; ++i)
        tracks_.push_back(describe(*format->streams[i]));
    duration_ = inSeconds(format->duration, AVRational{1, AV_TIME_BASE});
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(format->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
        tags_[entry->key] = entry->value;
}

std::size_t MovieProbe::count(Track::Kind kind) const {
    return static_cast<std::size_t>(std::count_if(tracks_.begin(), tracks_.end(),
                                                  [kind](const Track& track) { return track.kind == kind; }));
}

const Track& MovieProbe::trackOf(Track::Kind kind, std::size_t n) const {
    for (const auto& track : tracks_) {
        if (track.kind == kind && n-- == 0) return track;
    }
    throw std::runtime_error(file_.string() + " has no such track");
}

std::optional<std::string> MovieProbe::tag(const std::string& name) const {
    const auto found = tags_.find(name);
    return found != tags_.end() ? std::optional(found->second) : std::nullopt;
}

bool MovieProbe::indexInFront() const {
    const std::string content = test::readText(file_);
    return content.find("moov") < content.find("mdat");
}

std::size_t MovieProbe::visitPictures(const std::function<bool(const Picture&)>& visitor) {
    const Format format = open(file_);
    const int index = videoTrack().index;
    const auto timeBase = format->streams[index]->time_base;
    std::size_t pictures = 0;
    decode(format.get(), index, [&](const AVFrame& frame) {
        ++pictures;
        return visitor(pictureOf(frame, timeBase));
    });
    return pictures;
}

std::vector<double> MovieProbe::pictureTimes() {
    std::vector<double> times;
    visitPictures([&](const Picture& picture) {
        times.push_back(picture.time);
        return true;
    });
    return times;
}

OwnedPicture MovieProbe::pictureAt(double seconds) {
    OwnedPicture result;
    visitPictures([&](const Picture& picture) {
        if (result && picture.time > seconds + 0.0005) return false;
        result = std::make_shared<Picture>(picture);
        return true;
    });
    if (!result) throw std::runtime_error(file_.string() + " has no pictures");
    return result;
}

Sound MovieProbe::sound(std::size_t n) {
    const Format format = open(file_);
    const int index = audioTrack(n).index;
    const auto timeBase = format->streams[index]->time_base;
    Sound sound;
    decode(format.get(), index, [&](const AVFrame& frame) {
        append(sound, frame, inSeconds(frame.best_effort_timestamp, timeBase));
        return true;
    });
    return sound;
}

}  // namespace lumicrate::stage
