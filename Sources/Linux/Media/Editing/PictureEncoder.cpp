// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/PictureEncoder.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Linux/Media/Files/Failure.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <string_view>

extern "C" {
#include <libavutil/opt.h>
}

namespace lumicrate::media {

namespace {

constexpr std::string_view cannotEncode = translatable("The pictures couldn't be encoded");
constexpr const char* preset = "veryfast";
constexpr const char* quality = "16";  // CRF
/// The maximum distance of key pictures, in seconds.
constexpr int keyInterval = 2;

void copyColours(const AVCodecParameters& from, AVCodecContext& to) {
    to.color_range = from.color_range;
    to.color_primaries = from.color_primaries;
    to.color_trc = from.color_trc;
    to.colorspace = from.color_space;
    to.chroma_sample_location = from.chroma_location;
    // The scaler converts RGB to BT.601 in limited range.
    if (from.color_space != AVCOL_SPC_RGB) return;
    to.colorspace = AVCOL_SPC_SMPTE170M;
    to.color_range = AVCOL_RANGE_MPEG;
}

}  // namespace

const AVCodec& encoderFor(AVCodecID codec) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(codec == AV_CODEC_ID_HEVC ? "libx265" : "libx264");
    if (encoder == nullptr) failWithCode(cannotEncode, AVERROR_ENCODER_NOT_FOUND);
    return *encoder;
}

PictureEncoder::PictureEncoder(const InputMovie& source, int track, const PictureEncoding& encoding)
    : source_(source), track_(track), packet_(makePacket()) {
    const AVCodec& codec = encoderFor(encoding.codec);
    const AVStream& stream = source.stream(track);
    encoder_.reset(avcodec_alloc_context3(&codec));
    if (!encoder_) throw std::bad_alloc();
    encoder_->width = evenSide(stream.codecpar->width);
    encoder_->height = evenSide(stream.codecpar->height);
    encoder_->pix_fmt = encoding.format;
    copyColours(*stream.codecpar, *encoder_);
    encoder_->sample_aspect_ratio = stream.codecpar->sample_aspect_ratio;
    encoder_->time_base = OutputMovie::clockFor(stream);
    encoder_->framerate = {encoding.rate, 1};
    encoder_->gop_size = encoding.rate * keyInterval;
    encoder_->max_b_frames = 0;
    encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(encoder_->priv_data, "preset", preset, 0);
    av_opt_set(encoder_->priv_data, "crf", quality, 0);
    if (encoding.codec == AV_CODEC_ID_HEVC)
        av_opt_set(encoder_->priv_data, "x265-params", "log-level=none:bframes=0:open-gop=0", 0);
    checked(avcodec_open2(encoder_.get(), &codec, nullptr), cannotEncode);
    log(LogArea::encoder, codec.name, " ", preset, ", CRF ", quality, ": ", encoder_->width, " × ",
        encoder_->height, ", ", encoding.rate, " pictures a second");
}

void PictureEncoder::addTo(OutputMovie& movie, std::int64_t packets) {
    const OwnedParameters parameters(avcodec_parameters_alloc());
    checked(avcodec_parameters_from_context(parameters.get(), encoder_.get()), cannotEncode);
    if (parameters->codec_id == AV_CODEC_ID_HEVC) parameters->codec_tag = MKTAG('h', 'v', 'c', '1');
    movie_ = &movie;
    to_ = movie.addReencoded(source_, track_, *parameters, packets);
}

void PictureEncoder::encode(AVFrame& frame, std::int64_t time, std::int64_t duration) {
    frame.pts = time;
    frame.pict_type = AV_PICTURE_TYPE_NONE;
    durations_.push_back(duration);
    write(&frame);
    any_ = true;
}

void PictureEncoder::finish() {
    if (!any_) source_.fail(localized("its pictures can't be decoded."));
    write(nullptr);
    movie_->end(to_);
}

/// Null for the frame gets what the encoder still holds.
void PictureEncoder::write(const AVFrame* frame) {
    checked(avcodec_send_frame(encoder_.get(), frame), cannotEncode);
    for (;;) {
        const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        checked(received, cannotEncode);
        packet_->duration = durations_.front();
        durations_.pop_front();
        av_packet_rescale_ts(packet_.get(), clock(), movie_->timeBase(to_));
        movie_->write(to_, *packet_);
        av_packet_unref(packet_.get());
    }
}

}  // namespace lumicrate::media
