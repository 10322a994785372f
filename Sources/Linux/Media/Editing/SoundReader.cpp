// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/SoundReader.h"

#include "Linux/Media/Files/Failure.h"

#include <algorithm>
#include <array>
#include <cmath>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace lumicrate::media {

namespace {

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

}  // namespace

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

}  // namespace lumicrate::media
