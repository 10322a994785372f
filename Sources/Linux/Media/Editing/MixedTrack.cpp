// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/MixedTrack.h"

#include "Linux/Media/Files/Failure.h"
#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/Sound/PeakLimiter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <list>
#include <span>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace lumicrate::media {

namespace {

constexpr int bitRate = 192'000;
/// Frames that are mixed at once.
constexpr std::size_t pieceLength = 8192;

/// Decodes one sound track of a movie. Produces interleaved stereo at 48000 Hz, at the times of the
/// presentation to the sample, with silence where the track has gaps. One thread. Throws PlatformError.
class SoundReader {
 public:
    static constexpr int sampleRate = 48000;
    static constexpr int channels = 2;

    SoundReader(const std::filesystem::path& source, int track);

    /// Adds the next sound to `mix`. Returns how many frames the track had; fewer than requested only at its
    /// end.
    std::int64_t addTo(std::span<float> mix);

 private:
    bool decodeMore();
    void place(const AVFrame& frame);
    void convert(const AVFrame* frame);
    void prepare(const AVFrame& frame);
    std::int64_t buffered() const { return static_cast<std::int64_t>(sound_.size()) / channels; }

    InputMovie input_;
    int track_;
    OwnedCodec decoder_;
    OwnedPacket packet_;
    OwnedFrame frame_;
    OwnedResampler resampler_;
    OwnedFrame format_;            ///< the input format of the resampler
    std::int64_t end_;             ///< of the presentation, in frames
    std::int64_t packetsEnd_ = 0;  ///< of the packets sent to the decoder
    std::vector<float> sound_;     ///< decoded but not yet mixed
    std::int64_t position_ = 0;    ///< of its first frame, from the movie's time zero
    bool drained_ = false;
};

constexpr AVRational frameClock{1, SoundReader::sampleRate};

/// Up to this many frames, a deviation of the decoder's times is rounding; more is a gap or an overlap.
constexpr std::int64_t tolerance = 48;

std::int64_t presentedEnd(const AVStream& stream, double movie) {
    const auto wholeMovie = static_cast<std::int64_t>(std::llround(movie * SoundReader::sampleRate));
    const bool known = stream.start_time <= 0 && stream.duration > 0;
    if (!known) return wholeMovie;
    return std::min(wholeMovie, av_rescale_q(stream.duration, stream.time_base, frameClock));
}

bool sameFormat(const AVFrame& a, const AVFrame& b) {
    return a.format == b.format && a.sample_rate == b.sample_rate &&
           av_channel_layout_compare(&a.ch_layout, &b.ch_layout) == 0;
}

SoundReader::SoundReader(const std::filesystem::path& source, int track)
    : input_(source, InputMovie::Look::atHead),
      track_(track),
      decoder_(input_.makeDecoder(track)),
      packet_(makePacket()),
      frame_(makeFrame()),
      format_(makeFrame()),
      end_(presentedEnd(input_.stream(track), input_.duration())) {
    input_.select({track});
}

std::int64_t SoundReader::addTo(std::span<float> mix) {
    const auto wanted = static_cast<std::int64_t>(mix.size()) / channels;
    while (buffered() < wanted && decodeMore()) {
    }
    const std::int64_t mixed = std::min({wanted, buffered(), std::max<std::int64_t>(end_ - position_, 0)});
    const auto samples = static_cast<std::size_t>(mixed * channels);
    std::transform(mix.begin(), mix.begin() + static_cast<std::ptrdiff_t>(samples), sound_.begin(),
                   mix.begin(), [](float sum, float sample) { return sum + sample; });
    sound_.erase(sound_.begin(), sound_.begin() + static_cast<std::ptrdiff_t>(samples));
    position_ += mixed;
    return mixed;
}

/// False at the end.
bool SoundReader::decodeMore() {
    if (drained_) return false;
    for (;;) {
        const int received = avcodec_receive_frame(decoder_.get(), frame_.get());
        if (received >= 0) {
            place(*frame_);
            return true;
        }
        if (received == AVERROR_EOF) {
            convert(nullptr);
            drained_ = true;
            return true;
        }
        if (received != AVERROR(EAGAIN)) input_.fail(reasonFor(received) + ".");
        const bool more = input_.read(*packet_);
        if (more && packet_->pts != AV_NOPTS_VALUE) {
            packetsEnd_ = av_rescale_q(packet_->pts + packet_->duration, decoder_->pkt_timebase, frameClock);
        }
        const int sent = avcodec_send_packet(decoder_.get(), more ? packet_.get() : nullptr);
        // A packet that cannot be decoded becomes a gap.
        if (sent < 0 && sent != AVERROR_INVALIDDATA) input_.fail(reasonFor(sent) + ".");
    }
}

/// Appends a decoded frame at its time: after silence where there is a gap, without what overlaps.
void SoundReader::place(const AVFrame& frame) {
    if (!resampler_ || !sameFormat(frame, *format_)) prepare(frame);
    const std::int64_t next = position_ + buffered();
    std::int64_t begin = next;
    if (frame.best_effort_timestamp != AV_NOPTS_VALUE) {
        const std::int64_t delay = swr_get_delay(resampler_.get(), sampleRate);
        begin = av_rescale_q(frame.best_effort_timestamp, decoder_->pkt_timebase, frameClock) - delay;
    }
    if (begin > next + tolerance)
        sound_.resize(sound_.size() + static_cast<std::size_t>((begin - next) * channels));
    const std::size_t before = sound_.size();
    convert(&frame);
    const std::int64_t overlap = begin < next - tolerance || begin < 0 ? next - begin : 0;
    const auto made = static_cast<std::int64_t>(sound_.size() - before) / channels;
    const auto from = sound_.begin() + static_cast<std::ptrdiff_t>(before);
    sound_.erase(from, from + static_cast<std::ptrdiff_t>(std::min(overlap, made) * channels));
    // The last packet may last less than its content.
    const std::int64_t maxBuffered = std::max<std::int64_t>(packetsEnd_ - position_, 0);
    if (buffered() > maxBuffered) sound_.resize(static_cast<std::size_t>(maxBuffered * channels));
}

/// Null for the frame gets what the resampler still holds.
void SoundReader::convert(const AVFrame* frame) {
    if (!resampler_) return;
    const int room = swr_get_out_samples(resampler_.get(), frame ? frame->nb_samples : 0);
    if (room <= 0) return;
    const std::size_t before = sound_.size();
    sound_.resize(before + static_cast<std::size_t>(room) * channels);
    auto* to = reinterpret_cast<std::uint8_t*>(sound_.data() + before);
    const auto** from = frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
    const int made = swr_convert(resampler_.get(), &to, room, from, frame ? frame->nb_samples : 0);
    if (made < 0) input_.fail(reasonFor(made) + ".");
    sound_.resize(before + static_cast<std::size_t>(made) * channels);
}

void SoundReader::prepare(const AVFrame& frame) {
    convert(nullptr);
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    AVChannelLayout source = frame.ch_layout;  // older libraries do not promise to leave it alone
    SwrContext* resampler = nullptr;
    int result =
        swr_alloc_set_opts2(&resampler, &stereo, AV_SAMPLE_FMT_FLT, sampleRate, &source,
                            static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    resampler_.reset(resampler);
    // A mono sound is equally loud on both channels; the library would reduce it by 3 dB.
    constexpr std::array<double, 2> mono{1, 1};
    if (result >= 0 && frame.ch_layout.nb_channels == 1) result = swr_set_matrix(resampler, mono.data(), 1);
    if (result >= 0) result = swr_init(resampler_.get());
    if (result < 0) input_.fail(reasonFor(result) + ".");
    av_frame_unref(format_.get());
    format_->format = frame.format;
    format_->sample_rate = frame.sample_rate;
    av_channel_layout_copy(&format_->ch_layout, &frame.ch_layout);
}

/// The sum of the tracks, piece by piece.
class Mix {
 public:
    Mix(const std::filesystem::path& source, const std::vector<int>& tracks) {
        for (const int track : tracks)
            readers_.emplace_back(source, track);
    }

    /// The next piece; empty at the end.
    std::vector<float> next() {
        std::vector<float> limited;
        while (limited.empty() && !ended_) {
            sum_.assign(pieceLength * SoundReader::channels, 0);
            std::int64_t frames = 0;
            for (SoundReader& reader : readers_)
                frames = std::max(frames, reader.addTo(sum_));
            sum_.resize(static_cast<std::size_t>(frames) * SoundReader::channels);
            limiter_.process(sum_, limited);
            ended_ = frames < static_cast<std::int64_t>(pieceLength);
            if (ended_) limiter_.finish(limited);
        }
        return limited;
    }

 private:
    std::list<SoundReader> readers_;
    PeakLimiter limiter_;
    std::vector<float> sum_;
    bool ended_ = false;
};

}  // namespace

MixedTrack::MixedTrack(const InputMovie& source)
    : source_(source.path()),
      tracks_(source.audioTracks()),
      duration_(source.duration()),
      encoder_(SoundReader::sampleRate, SoundReader::channels, bitRate) {}

void MixedTrack::addTo(OutputMovie& movie) {
    const auto frames = static_cast<std::int64_t>(std::ceil(duration_ * SoundReader::sampleRate));
    number_ = movie.addSound(encoder_.description(), "Audio", frames / isobmff::aacFrameLength + 8);
    movie_ = &movie;
}

void MixedTrack::write() {
    const OwnedPacket packet = makePacket();
    Mix mix(source_, tracks_);
    encoder_.encode([&mix] { return mix.next(); },
                    [&](const MovieSample& sample) {
                        packet->data = const_cast<std::uint8_t*>(sample.data.data());
                        packet->size = static_cast<int>(sample.data.size());
                        packet->pts = packet->dts = sample.time;
                        packet->duration = sample.duration;
                        packet->flags = AV_PKT_FLAG_KEY;
                        movie_->write(number_, *packet);
                    });
    movie_->end(number_);
}

}  // namespace lumicrate::media
