// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/ReencodedTrack.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/PictureReader.h"
#include "Linux/Media/Editing/PictureShaper.h"
#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Linux/Media/Files/Failure.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
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
constexpr int defaultRate = 30;
constexpr int maxRate = 240;

const AVCodec& encoderFor(AVCodecID id) {
    const AVCodec* codec = avcodec_find_encoder_by_name(id == AV_CODEC_ID_HEVC ? "libx265" : "libx264");
    if (codec == nullptr) failWithCode(cannotEncode, AVERROR_ENCODER_NOT_FOUND);
    return *codec;
}

/// The source's own format where the encoder supports it.
AVPixelFormat formatFor(const AVCodec& codec, const AVCodecParameters& source) {
    const bool odd = (source.width | source.height) % 2 != 0;
    for (const AVPixelFormat* each = codec.pix_fmts; !odd && *each != AV_PIX_FMT_NONE; ++each) {
        if (*each == source.format) return *each;
    }
    return AV_PIX_FMT_YUV420P;
}

int pictureRate(const AVStream& stream) {
    const double rate = stream.avg_frame_rate.den > 0 ? av_q2d(stream.avg_frame_rate) : 0;
    return rate > 0 ? std::clamp(static_cast<int>(std::lround(rate)), 1, maxRate) : defaultRate;
}

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

ReencodedTrack::ReencodedTrack(const InputMovie& source, int track, AVCodecID codec, CMTimeRange range)
    : source_(source),
      path_(source.path()),
      track_(track),
      codec_(codec),
      range_(range),
      packet_(makePacket()) {}

ReencodedTrack::~ReencodedTrack() = default;

void ReencodedTrack::addTo(OutputMovie& movie) {
    const AVStream& stream = source_.stream(track_);
    clock_ = OutputMovie::clockFor(stream);
    open(stream);
    const OwnedParameters parameters(avcodec_parameters_alloc());
    checked(avcodec_parameters_from_context(parameters.get(), encoder_.get()), cannotEncode);
    if (codec_ == AV_CODEC_ID_HEVC) parameters->codec_tag = MKTAG('h', 'v', 'c', '1');
    movie_ = &movie;
    to_ = movie.addReencoded(source_, track_, *parameters, source_.packetCount(track_, range_));
}

void ReencodedTrack::open(const AVStream& stream) {
    const AVCodec& codec = encoderFor(codec_);
    const AVCodecParameters& source = *stream.codecpar;
    encoder_.reset(avcodec_alloc_context3(&codec));
    if (!encoder_) throw std::bad_alloc();
    encoder_->width = evenSide(source.width);
    encoder_->height = evenSide(source.height);
    encoder_->pix_fmt = formatFor(codec, source);
    copyColours(source, *encoder_);
    encoder_->sample_aspect_ratio = source.sample_aspect_ratio;
    encoder_->time_base = clock_;
    encoder_->framerate = {pictureRate(stream), 1};
    encoder_->gop_size = pictureRate(stream) * keyInterval;
    encoder_->max_b_frames = 0;
    encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(encoder_->priv_data, "preset", preset, 0);
    av_opt_set(encoder_->priv_data, "crf", quality, 0);
    if (codec_ == AV_CODEC_ID_HEVC)
        av_opt_set(encoder_->priv_data, "x265-params", "log-level=none:bframes=0:open-gop=0", 0);
    checked(avcodec_open2(encoder_.get(), &codec, nullptr), cannotEncode);
    log(LogArea::encoder, codec.name, " ", preset, ", CRF ", quality, ": ", encoder_->width, " × ",
        encoder_->height, ", ", encoder_->framerate.num, " pictures a second");
    shaper_ = std::make_unique<PictureShaper>(source.width, source.height, encoder_->pix_fmt);
}

void ReencodedTrack::write() {
    const TickRange range = TickRange::of(range_, clock_);
    PictureReader reader(path_, track_, range, clock_, PictureReader::Until::rangeEnds,
                         [this] { movie_->checkCancelled(); });
    bool any = false;
    while (const auto picture = reader.next()) {
        AVFrame& frame = shaper_->shaped(picture->frame);
        frame.pts = picture->time;
        frame.pict_type = AV_PICTURE_TYPE_NONE;
        durations_.push_back(picture->duration);
        encode(&frame);
        any = true;
    }
    if (!any) source_.fail(localized("its pictures can't be decoded."));
    encode(nullptr);
    movie_->end(to_);
}

/// Null for the frame gets what the encoder still holds.
void ReencodedTrack::encode(const AVFrame* frame) {
    checked(avcodec_send_frame(encoder_.get(), frame), cannotEncode);
    for (;;) {
        const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        checked(received, cannotEncode);
        packet_->duration = durations_.front();
        durations_.pop_front();
        av_packet_rescale_ts(packet_.get(), clock_, movie_->timeBase(to_));
        movie_->write(to_, *packet_);
        av_packet_unref(packet_.get());
    }
}

}  // namespace lumicrate::media
