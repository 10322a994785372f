#include "Linux/Media/MovieFile.h"

#include "Linux/Media/Failure.h"
#include "Support/Text.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
#include <libavutil/mathematics.h>
#include <libavutil/time.h>
}

namespace lumicrate::media {

namespace {

constexpr const char* cannotWrite = "The movie file couldn't be written";

const char* muxerName(AVFileType type) {
    switch (type) {
        case AVFileType::mpeg4:
            return "mp4";
        case AVFileType::quickTimeMovie:
            return "mov";
        case AVFileType::appleM4A:
            return "ipod";
    }
    return "mp4";
}

[[noreturn]] void failToCreate(const std::filesystem::path& path, int error) {
    failWithCode(localized("The movie file couldn't be created:") + " “" + path.string() + "”", error);
}

/// Fails where something of the name exists: a recording never replaces a file.
void createExclusively(const std::filesystem::path& path) {
    constexpr int readableByAll = 0666;  // less the umask
    const int file = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, readableByAll);
    if (file < 0) failToCreate(path, AVERROR(errno));
    close(file);
}

void setExtradata(AVCodecParameters& parameters, std::span<const std::uint8_t> bytes) {
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters.extradata == nullptr) failWithCode(cannotWrite, AVERROR(ENOMEM));
    std::memcpy(parameters.extradata, bytes.data(), bytes.size());
    parameters.extradata_size = static_cast<int>(bytes.size());
}

/// A dictionary of muxer options.
class Options {
 public:
    Options() = default;
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    ~Options() { av_dict_free(&dictionary_); }

    void set(const char* key, const char* value) { av_dict_set(&dictionary_, key, value, 0); }
    AVDictionary** get() { return &dictionary_; }

 private:
    AVDictionary* dictionary_ = nullptr;
};

}  // namespace

void MovieFile::FreeContext::operator()(AVFormatContext* context) const {
    avio_closep(&context->pb);
    avformat_free_context(context);
}

void MovieFile::FreePacket::operator()(AVPacket* packet) const {
    av_packet_free(&packet);
}

MovieFile::MovieFile(std::filesystem::path path, AVFileType type)
    : path_(std::move(path)), packet_(av_packet_alloc()) {
    // What goes wrong is told by errors; nothing of it belongs on standard error.
    av_log_set_level(AV_LOG_QUIET);
    // The protocol is named, so that no part of a file's name is taken for one.
    const std::string url = "file:" + path_.string();
    AVFormatContext* context = nullptr;
    const int allocated = avformat_alloc_output_context2(&context, nullptr, muxerName(type), url.c_str());
    if (allocated < 0) failToCreate(path_, allocated);
    context_.reset(context);
    if (!packet_) failToCreate(path_, AVERROR(ENOMEM));
    createExclusively(path_);
    if (const int result = avio_open(&context->pb, url.c_str(), AVIO_FLAG_WRITE); result < 0) {
        unlink(path_.c_str());
        failToCreate(path_, result);
    }
    // What is written is in the file at once, for whoever watches it grow.
    context->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    av_dict_set(&context->metadata, "creation_time", "now", 0);
}

MovieFile::~MovieFile() {
    context_.reset();
    if (!finished_) unlink(path_.c_str());
}

int MovieFile::addTrack(const isobmff::TrackDescription& description) {
    AVStream* stream = avformat_new_stream(context_.get(), nullptr);
    if (stream == nullptr) failWithCode(cannotWrite, AVERROR(ENOMEM));
    AVCodecParameters& parameters = *stream->codecpar;
    if (const auto* video = std::get_if<isobmff::VideoDescription>(&description.media)) {
        parameters.codec_type = AVMEDIA_TYPE_VIDEO;
        const bool hevc = video->codec == isobmff::VideoCodec::hevc;
        parameters.codec_id = hevc ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
        if (hevc) parameters.codec_tag = MKTAG('h', 'v', 'c', '1');
        parameters.format = AV_PIX_FMT_YUV420P;
        parameters.width = video->width;
        parameters.height = video->height;
        parameters.sample_aspect_ratio = {1, 1};
        parameters.color_range = AVCOL_RANGE_MPEG;
        parameters.color_primaries = AVCOL_PRI_BT709;
        parameters.color_trc = AVCOL_TRC_BT709;
        parameters.color_space = AVCOL_SPC_BT709;
        parameters.chroma_location = AVCHROMA_LOC_LEFT;
        setExtradata(parameters, video->configuration);
    } else {
        const auto& audio = std::get<isobmff::AudioDescription>(description.media);
        parameters.codec_type = AVMEDIA_TYPE_AUDIO;
        parameters.codec_id = AV_CODEC_ID_AAC;
        parameters.sample_rate = audio.sampleRate;
        parameters.bit_rate = audio.bitRate;
        parameters.frame_size = 1024;
        parameters.initial_padding = static_cast<int>(description.leadIn);
        av_channel_layout_default(&parameters.ch_layout, audio.channels);
        setExtradata(parameters, audio.configuration);
    }
    stream->time_base = {1, static_cast<int>(description.timescale)};
    av_dict_set(&stream->metadata, "handler_name", description.name.c_str(), 0);
    timescales_.push_back(static_cast<int>(description.timescale));
    return stream->index;
}

void MovieFile::begin() {
    Options options;
    if (indexInFront_) options.set("movflags", "+faststart");
    // Sound begins before time zero, with what the decoder needs to settle; the edit list cuts it away.
    options.set("use_editlist", "1");
    // Fine enough for edits to be exact in the pictures' clock.
    options.set("movie_timescale", "90000");
    checked(avformat_write_header(context_.get(), options.get()), cannotWrite);
    throwIfOutputFailed();
}

void MovieFile::write(int track, const MovieSample& sample) {
    const std::lock_guard lock(mutex_);
    const auto index = static_cast<std::size_t>(track);
    av_packet_unref(packet_.get());
    // Borrowed, not referenced: av_write_frame is done with the bytes when it returns.
    packet_->data = const_cast<std::uint8_t*>(sample.data.data());
    packet_->size = static_cast<int>(sample.data.size());
    packet_->stream_index = track;
    packet_->pts = packet_->dts = sample.time;
    packet_->duration = sample.duration;
    packet_->flags = sample.key ? AV_PKT_FLAG_KEY : 0;
    av_packet_rescale_ts(packet_.get(), {1, timescales_[index]}, context_->streams[index]->time_base);
    // Without av_interleaved_write_frame's sorting: samples come in about the order of time as it is, and a
    // track that stays silent must not pile up the others in memory.
    checked(av_write_frame(context_.get(), packet_.get()), cannotWrite);
    throwIfOutputFailed();
}

void MovieFile::finish() {
    const std::lock_guard lock(mutex_);
    const int trailer = av_write_trailer(context_.get());
    throwIfOutputFailed();
    checked(trailer, cannotWrite);
    checked(avio_closep(&context_->pb), cannotWrite);
    finished_ = true;
}

/// The output buffers, so an error may show later than the write that it spoilt.
void MovieFile::throwIfOutputFailed() const {
    if (context_->pb != nullptr && context_->pb->error < 0) failWithCode(cannotWrite, context_->pb->error);
}

}  // namespace lumicrate::media
