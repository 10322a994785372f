// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/CompactTrack.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/PictureReader.h"
#include "Linux/Media/Files/Failure.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string>
#include <string_view>
#include <system_error>

extern "C" {
#include <libavutil/opt.h>
}

namespace lumicrate::media {

namespace {

constexpr std::string_view cannotEncode = translatable("The pictures couldn't be encoded");
constexpr const char* preset = "fast";
constexpr double goodQuality = 23;  // CRF
constexpr double coarsestQuality = 51;
/// This much coarser, a still screen with text takes about half the bits.
constexpr double halvingQuality = 10;
/// With a smaller part of the pictures that the rate allows, as of a still screen, the library's second pass
/// misses its bit rate by far.
constexpr double usualPart = 0.5;
/// The library counts in thousands.
constexpr long long minBitRate = 1000;
/// The maximum distance of key pictures, in seconds.
constexpr int keyInterval = 8;

int evenSideOf(double side) {
    return std::max(static_cast<int>(std::lround(side / 2)) * 2, 2);
}

/// The size of the coded pictures, so that what is shown fits `maximum`, in either orientation.
PixelSize fittedSize(const AVCodecParameters& source, const Size& maximum) {
    const double longest = std::max(maximum.width, maximum.height);
    const double scale = std::min(1.0, longest / std::max(source.width, source.height));
    return {evenSideOf(source.width * scale), evenSideOf(source.height * scale)};
}

}  // namespace

/// What the library notes in the first pass for the second one, in files of a private folder.
class CompactTrack::Notes {
 public:
    Notes() {
        std::string name = (std::filesystem::temp_directory_path() / "lumicrate-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) failWithCode(cannotEncode, AVERROR(errno));
        folder_ = name;
    }
    ~Notes() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Notes(const Notes&) = delete;
    Notes& operator=(const Notes&) = delete;

    std::filesystem::path file() const { return folder_ / "pictures"; }

 private:
    std::filesystem::path folder_;
};

CompactTrack::CompactTrack(const InputMovie& source, int track, const CompactEncoding& encoding,
                           std::uint64_t maxBytes)
    : source_(source),
      path_(source.path()),
      track_(track),
      encoding_(encoding),
      maxBytes_(maxBytes),
      clock_(OutputMovie::clockFor(source.stream(track))),
      size_(fittedSize(*source.stream(track).codecpar, encoding.maxSize)),
      quality_(goodQuality),
      packet_(makePacket()) {}

CompactTrack::~CompactTrack() = default;

void CompactTrack::open(Pass pass) {
    const AVStream& stream = source_.stream(track_);
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    if (codec == nullptr) failWithCode(cannotEncode, AVERROR_ENCODER_NOT_FOUND);
    encoder_.reset(avcodec_alloc_context3(codec));
    if (!encoder_) throw std::bad_alloc();
    const int rate = std::max(static_cast<int>(std::lround(encoding_.maxFps)), 1);
    encoder_->width = size_.width;
    encoder_->height = size_.height;
    encoder_->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder_->time_base = clock_;
    encoder_->framerate = {rate, 1};
    encoder_->gop_size = rate * keyInterval;
    encoder_->max_b_frames = 0;
    encoder_->sample_aspect_ratio = stream.codecpar->sample_aspect_ratio;
    // The scaler converts other formats to limited range.
    const bool isSameFormat = stream.codecpar->format == AV_PIX_FMT_YUV420P;
    encoder_->color_range = isSameFormat ? stream.codecpar->color_range : AVCOL_RANGE_MPEG;
    encoder_->color_primaries = stream.codecpar->color_primaries;
    encoder_->color_trc = stream.codecpar->color_trc;
    encoder_->colorspace = stream.codecpar->color_space;
    if (encoder_->colorspace == AVCOL_SPC_RGB) encoder_->colorspace = AVCOL_SPC_SMPTE170M;
    encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(encoder_->priv_data, "preset", preset, 0);
    if (pass != Pass::second) av_opt_set_double(encoder_->priv_data, "crf", quality_, 0);
    if (pass != Pass::only) {
        encoder_->flags |= pass == Pass::first ? AV_CODEC_FLAG_PASS1 : AV_CODEC_FLAG_PASS2;
        av_opt_set(encoder_->priv_data, "stats", notes_->file().c_str(), 0);
    }
    if (pass == Pass::second) {
        // The library takes each picture to last one interval of the rate.
        const double perPicture = wantedBits() / static_cast<double>(std::max<std::int64_t>(pictures_, 1));
        encoder_->bit_rate = std::max(std::llround(perPicture * rate), minBitRate);
    }
    checked(avcodec_open2(encoder_.get(), codec, nullptr), cannotEncode);
    shaper_.emplace(size_.width, size_.height, encoder_->pix_fmt);
    log(LogArea::encoder, "compact ", size_.width, " × ", size_.height, ", at most ", rate,
        " pictures a second, ", encoder_->bit_rate, " bit/s");
}

void CompactTrack::analyze(const LongWork& work) {
    notes_ = std::make_unique<Notes>();
    // The library's second pass takes bits to halve with every 6 steps of quality. Those of text halve with
    // more, so the first pass has to be near.
    if (encoding_.goodVideoBitRate)
        makeCoarser(static_cast<double>(*encoding_.goodVideoBitRate) / *encoding_.videoBitRate);
    open(Pass::first);
    pictures_ = 0;
    double reported = 0;
    const auto report = [&] {
        if (work.stop.stop_requested()) throw CancelledError();
        if (part_ < reported + 0.01) return;
        reported = part_;
        work.reach(part_);
    };
    double bits = 0;
    encodeAll(report, [&](const AVPacket& packet) {
        ++pictures_;
        bits += packet.size * 8.0;
    });
    // Closing it completes the notes.
    encoder_.reset();
    const double mostPictures = encoding_.maxFps * source_.duration();
    if (static_cast<double>(pictures_) >= usualPart * mostPictures) return open(Pass::second);
    makeCoarser(bits / wantedBits());
    open(Pass::only);
}

/// For a number of bits that is smaller by that factor.
void CompactTrack::makeCoarser(double factor) {
    quality_ = std::clamp(quality_ + halvingQuality * std::log2(factor), goodQuality, coarsestQuality);
}

double CompactTrack::wantedBits() const {
    return *encoding_.videoBitRate * source_.duration();
}

void CompactTrack::addTo(OutputMovie& movie) {
    if (!encoder_) open(Pass::only);
    const OwnedParameters parameters(avcodec_parameters_alloc());
    checked(avcodec_parameters_from_context(parameters.get(), encoder_.get()), cannotEncode);
    const auto atRate = static_cast<std::int64_t>(source_.duration() * encoding_.maxFps) + 2;
    to_ = movie.addReencoded(source_, track_, *parameters, std::min(source_.packetCount(track_), atRate));
    movie_ = &movie;
}

void CompactTrack::write() {
    bytes_ = 0;
    encodeAll([this] { movie_->checkCancelled(); },
              [this](AVPacket& packet) {
                  bytes_ += static_cast<std::uint64_t>(packet.size);
                  if (isTooLarge()) throw CancelledError();
                  av_packet_rescale_ts(&packet, clock_, movie_->timeBase(to_));
                  movie_->write(to_, packet);
              });
    movie_->end(to_);
}

/// A picture that comes too early for the rate is shown later, unless another one has replaced it by then.
void CompactTrack::encodeAll(const std::function<void()>& check, const Sink& sink) {
    const TickRange everything = TickRange::of(std::nullopt, clock_);
    PictureReader reader(path_, track_, everything, clock_, PictureReader::Until::rangeEnds, check);
    // A little less than the interval, so that the usual rates, which are rounded, lose no pictures.
    const auto interval = static_cast<std::int64_t>(0.95 / encoding_.maxFps / av_q2d(clock_));
    std::int64_t next = 0;
    bool any = false;
    while (const auto picture = reader.next()) {
        const std::int64_t end = picture->time + picture->duration;
        const std::int64_t begin = std::max(picture->time, next);
        if (begin >= end) continue;
        AVFrame& frame = shaper_->shaped(picture->frame);
        frame.pts = begin;
        frame.pict_type = AV_PICTURE_TYPE_NONE;
        lastDuration_ = end - begin;
        part_ = std::min(secondsOf(begin, clock_) / source_.duration(), 1.0);
        encode(&frame, sink);
        next = begin + interval;
        any = true;
    }
    if (!any) source_.fail(localized("its pictures can't be decoded."));
    encode(nullptr, sink);
    part_ = 1;
}

/// Null for the frame gets what the encoder still holds.
void CompactTrack::encode(const AVFrame* frame, const Sink& sink) {
    checked(avcodec_send_frame(encoder_.get(), frame), cannotEncode);
    for (;;) {
        const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        checked(received, cannotEncode);
        // Each one lasts until the next one begins; only the duration of the last one counts.
        packet_->duration = lastDuration_;
        sink(*packet_);
        av_packet_unref(packet_.get());
    }
}

}  // namespace lumicrate::media
