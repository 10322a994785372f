#include "Tests/Stage/MovieProbe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

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

std::string text(const char* name) {
    return name != nullptr ? name : "";
}

std::string metadata(const AVDictionary* dictionary, const char* key) {
    const auto* entry = av_dict_get(dictionary, key, nullptr, 0);
    return entry != nullptr ? entry->value : "";
}

double inSeconds(std::int64_t value, AVRational timeBase) {
    return value == AV_NOPTS_VALUE ? 0 : static_cast<double>(value) * av_q2d(timeBase);
}

std::string fourCharacters(std::uint32_t tag) {
    std::string name;
    for (; tag != 0; tag >>= 8) {
        name += static_cast<char>(tag & 0xff);
    }
    return name;
}

Track describe(const AVStream& stream) {
    const auto& codec = *stream.codecpar;
    Track track;
    track.index = stream.index;
    track.codec = text(avcodec_get_name(codec.codec_id));
    track.codecTag = fourCharacters(codec.codec_tag);
    track.profile = text(avcodec_profile_name(codec.codec_id, codec.profile));
    track.bitRate = codec.bit_rate;
    track.name = metadata(stream.metadata, "title");
    track.handler = metadata(stream.metadata, "handler_name");
    track.language = metadata(stream.metadata, "language");
    track.isEnabled = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
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
        track.averageFrameRate = stream.avg_frame_rate.den != 0 ? av_q2d(stream.avg_frame_rate) : 0;
    } else if (codec.codec_type == AVMEDIA_TYPE_AUDIO) {
        track.kind = Track::Kind::Audio;
        track.sampleRate = codec.sample_rate;
        track.channels = codec.ch_layout.nb_channels;
    }
    return track;
}

// Decodes one track from a freshly opened file and hands over each frame that is presented, in order; the
// visitor returns false to stop.
void decode(AVFormatContext* format, int trackIndex, const std::function<bool(const AVFrame&)>& visitor) {
    const auto* stream = format->streams[trackIndex];
    const auto* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (codec == nullptr) throw std::runtime_error("There is no decoder for the track");
    const std::unique_ptr<AVCodecContext, FreeCodec> decoder(avcodec_alloc_context3(codec));
    check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "The track cannot be decoded");
    // Without it the decoder cannot move a frame's time when it drops samples at its beginning.
    decoder->pkt_timebase = stream->time_base;
    // Its threads synchronise in ways that a thread sanitizer cannot see into.
    decoder->thread_count = 1;
    check(avcodec_open2(decoder.get(), codec, nullptr), "The decoder does not open");

    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, FreeFrame> frame(av_frame_alloc());
    bool wanted = true;
    const auto takeFrames = [&] {
        while (wanted) {
            const int status = avcodec_receive_frame(decoder.get(), frame.get());
            if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return;
            check(status, "A frame cannot be decoded");
            wanted = visitor(*frame);
        }
    };
    while (wanted) {
        const int status = av_read_frame(format, packet.get());
        if (status == AVERROR_EOF) break;
        check(status, "The file cannot be read");
        if (packet->stream_index == trackIndex) {
            check(avcodec_send_packet(decoder.get(), packet.get()), "A sample cannot be decoded");
            takeFrames();
        }
        av_packet_unref(packet.get());
    }
    if (!wanted) return;
    check(avcodec_send_packet(decoder.get(), nullptr), "The decoder does not finish");
    takeFrames();
}

Picture pictureOf(const AVFrame& frame, AVRational timeBase) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const auto* description = av_pix_fmt_desc_get(format);
    if (description == nullptr || description->nb_components < 3 || description->comp[0].depth != 8 ||
        (description->flags & AV_PIX_FMT_FLAG_BITSTREAM) != 0) {
        throw std::runtime_error("Pictures of the kind " + text(av_get_pix_fmt_name(format)) +
                                 " are not looked at");
    }
    Picture picture;
    picture.time = inSeconds(frame.best_effort_timestamp, timeBase);
    picture.width = frame.width;
    picture.height = frame.height;
    picture.isRgb = (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    picture.isFullRange = frame.color_range == AVCOL_RANGE_JPEG || format == AV_PIX_FMT_YUVJ420P;
    for (std::size_t i = 0; i < picture.planes.size(); ++i) {
        const auto& component = description->comp[i];
        const bool isChroma = i > 0 && !picture.isRgb;
        auto& plane = picture.planes[i];
        plane.data = frame.data[component.plane] + component.offset;
        plane.stride = frame.linesize[component.plane];
        plane.step = component.step;
        plane.width = isChroma ? AV_CEIL_RSHIFT(frame.width, description->log2_chroma_w) : frame.width;
        plane.height = isChroma ? AV_CEIL_RSHIFT(frame.height, description->log2_chroma_h) : frame.height;
    }
    return picture;
}

float sampleAt(const AVFrame& frame, int channel, int index) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    const auto* memory = frame.extended_data[isPlanar ? channel : 0];
    const int position = isPlanar ? index : index * frame.ch_layout.nb_channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_FLT:
            return reinterpret_cast<const float*>(memory)[position];
        case AV_SAMPLE_FMT_S16:
            return static_cast<float>(reinterpret_cast<const std::int16_t*>(memory)[position]) / 32768.0F;
        case AV_SAMPLE_FMT_S32:
            return static_cast<float>(reinterpret_cast<const std::int32_t*>(memory)[position]) /
                   2147483648.0F;
        default:
            throw std::runtime_error("Samples of the kind " + text(av_get_sample_fmt_name(format)) +
                                     " are not looked at");
    }
}

void append(Sound& sound, const AVFrame& frame, double time) {
    if (sound.samples.empty()) {
        sound.sampleRate = frame.sample_rate;
        sound.startTime = time;
        sound.samples.resize(static_cast<std::size_t>(frame.ch_layout.nb_channels));
    }
    // A movie's time scale may be coarser than a sample, so a place within a millisecond still follows on.
    const auto place = std::lround((time - sound.startTime) * sound.sampleRate);
    const auto end = static_cast<long>(sound.samples[0].size());
    const bool isHole = place > end + sound.sampleRate / 1000;
    if (isHole || place < end - sound.sampleRate / 1000) ++sound.discontinuities;
    for (std::size_t channel = 0; channel < sound.samples.size(); ++channel) {
        auto& samples = sound.samples[channel];
        if (isHole) samples.resize(static_cast<std::size_t>(place), 0.0F);
        for (int i = 0; i < frame.nb_samples; ++i) {
            samples.push_back(sampleAt(frame, static_cast<int>(channel), i));
        }
    }
}

}  // namespace

void MovieProbe::CloseFormat::operator()(AVFormatContext* context) const {
    avformat_close_input(&context);
}

MovieProbe::MovieProbe(const std::filesystem::path& file) : file_(file), format_(open()) {
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        tracks_.push_back(describe(*format_->streams[i]));
    }
}

MovieProbe::~MovieProbe() = default;

MovieProbe::Format MovieProbe::open() const {
    AVFormatContext* context = nullptr;
    check(avformat_open_input(&context, file_.c_str(), nullptr, nullptr), "Could not open " + file_.string());
    Format format(context);
    check(avformat_find_stream_info(format.get(), nullptr), "Could not understand " + file_.string());
    return format;
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

double MovieProbe::duration() const {
    return inSeconds(format_->duration, AVRational{1, AV_TIME_BASE});
}

std::string MovieProbe::container() const {
    return text(format_->iformat->name);
}

std::optional<std::string> MovieProbe::tag(const std::string& name) const {
    const auto* entry = av_dict_get(format_->metadata, name.c_str(), nullptr, 0);
    return entry != nullptr ? std::optional<std::string>(entry->value) : std::nullopt;
}

std::vector<std::string> MovieProbe::boxes() const {
    std::ifstream file(file_, std::ios::binary);
    const auto fileSize = static_cast<std::uint64_t>(std::filesystem::file_size(file_));
    std::vector<std::string> types;
    std::uint64_t position = 0;
    while (position + 8 <= fileSize) {
        unsigned char head[16] = {};
        file.clear();
        file.seekg(static_cast<std::streamoff>(position));
        file.read(reinterpret_cast<char*>(head), sizeof head);
        const auto number = [&head](int from, int count) {
            std::uint64_t value = 0;
            for (int i = from; i < from + count; ++i) {
                value = value << 8 | head[i];
            }
            return value;
        };
        types.emplace_back(reinterpret_cast<const char*>(head) + 4, 4);
        std::uint64_t size = number(0, 4);
        if (size == 1) size = number(8, 8);         // the real size follows the type
        if (size == 0) size = fileSize - position;  // up to the end of the file
        if (size < 8) throw std::runtime_error("A box of " + file_.string() + " has no size");
        position += size;
    }
    return types;
}

bool MovieProbe::indexInFront() const {
    const auto types = boxes();
    const auto index = std::find(types.begin(), types.end(), "moov");
    return index != types.end() && index < std::find(types.begin(), types.end(), "mdat");
}

std::size_t MovieProbe::visitPictures(const std::function<bool(const Picture&)>& visitor) {
    const auto format = open();
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
    // Two passes: decoding without copying is cheap, copying every picture on the way is not.
    const auto times = pictureTimes();
    if (times.empty()) throw std::runtime_error(file_.string() + " has no pictures");
    const auto after = std::upper_bound(times.begin(), times.end(), seconds + 0.0005);
    const auto wanted = after == times.begin() ? 0 : after - times.begin() - 1;
    OwnedPicture result;
    std::ptrdiff_t index = 0;
    visitPictures([&](const Picture& picture) {
        if (index++ != wanted) return true;
        result = OwnedPicture(picture);
        return false;
    });
    return result;
}

OwnedPicture MovieProbe::lastPicture() {
    return pictureAt(1e9);
}

Sound MovieProbe::sound(std::size_t n) {
    const auto format = open();
    const int index = audioTrack(n).index;
    const auto timeBase = format->streams[index]->time_base;
    Sound sound;
    decode(format.get(), index, [&](const AVFrame& frame) {
        append(sound, frame, inSeconds(frame.best_effort_timestamp, timeBase));
        return true;
    });
    return sound;
}

std::vector<Packet> MovieProbe::packets(int trackIndex) {
    const auto format = open();
    const auto timeBase = format->streams[trackIndex]->time_base;
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    std::vector<Packet> packets;
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == trackIndex) {
            packets.push_back({inSeconds(packet->pts, timeBase), inSeconds(packet->dts, timeBase),
                               inSeconds(packet->duration, timeBase), packet->size,
                               (packet->flags & AV_PKT_FLAG_KEY) != 0,
                               (packet->flags & AV_PKT_FLAG_DISCARD) != 0});
        }
        av_packet_unref(packet.get());
    }
    return packets;
}

}  // namespace lumicrate::stage
