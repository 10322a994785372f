// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/PcmConverter.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace lumicrate::media {

namespace {

constexpr const char* cannotConvert = translatable("The sound couldn't be converted");

struct SampleFormat {
    AVSampleFormat interleaved;
    AVSampleFormat planar;
    std::size_t bytes;
};

std::optional<SampleFormat> formatOf(AudioSampleFormat format) {
    switch (format) {
        case AudioSampleFormat::float32:
            return SampleFormat{AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP, sizeof(float)};
        case AudioSampleFormat::int32:
            return SampleFormat{AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32P, sizeof(std::int32_t)};
        case AudioSampleFormat::int16:
            return SampleFormat{AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P, sizeof(std::int16_t)};
        case AudioSampleFormat::other:
            break;
    }
    return std::nullopt;
}

bool same(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
    return a.sampleRate == b.sampleRate && a.channelsPerFrame == b.channelsPerFrame && a.format == b.format;
}

/// Mono becomes equally loud on both channels; stereo becomes the mean of both.
void keepLevels(SwrContext* context, int from, int to) {
    const double half[] = {0.5, 0.5};
    const double both[] = {1, 1};
    if (from == 2 && to == 1) checked(swr_set_matrix(context, half, 2), cannotConvert);
    if (from == 1 && to == 2) checked(swr_set_matrix(context, both, 1), cannotConvert);
}

}  // namespace

void PcmConverter::use(const AudioStreamBasicDescription& description, bool planar) {
    if (context_ && same(description, source_) && planar == planar_) return;
    const std::optional<SampleFormat> format = formatOf(description.format);
    AVChannelLayout from{};
    AVChannelLayout to{};
    av_channel_layout_default(&from, description.channelsPerFrame);
    av_channel_layout_default(&to, channels_);
    SwrContext* context = nullptr;
    const int made = swr_alloc_set_opts2(&context, &to, AV_SAMPLE_FMT_FLT, sampleRate_, &from,
                                         planar ? format->planar : format->interleaved,
                                         description.sampleRate, 0, nullptr);
    context_.reset(context);
    av_channel_layout_uninit(&from);
    av_channel_layout_uninit(&to);
    checked(made, cannotConvert);
    keepLevels(context, description.channelsPerFrame, channels_);
    checked(swr_init(context), cannotConvert);
    log(LogArea::audio, "converting ", description.sampleRate, " Hz, ", description.channelsPerFrame,
        " channels to ", sampleRate_, " Hz, ", channels_, " channels");
    source_ = description;
    planar_ = planar;
}

const std::vector<float>& PcmConverter::convert(const AudioBufferList& audio) {
    converted_.clear();
    delay_ = 0;
    if (!audio.description || audio.buffers.empty()) return converted_;
    const AudioStreamBasicDescription& description = *audio.description;
    const std::optional<SampleFormat> format = formatOf(description.format);
    if (!format || description.sampleRate <= 0 || description.channelsPerFrame <= 0) return converted_;
    const auto channels = static_cast<std::size_t>(description.channelsPerFrame);
    const bool planar = audio.buffers.size() > 1;
    if (planar && audio.buffers.size() != channels) return converted_;

    std::size_t bytes = audio.buffers.front().size();
    std::vector<const std::uint8_t*> planes;
    for (const std::vector<std::byte>& buffer : audio.buffers) {
        bytes = std::min(bytes, buffer.size());
        planes.push_back(reinterpret_cast<const std::uint8_t*>(buffer.data()));
    }
    const auto frames = static_cast<int>(bytes / (format->bytes * (planar ? 1 : channels)));
    if (frames == 0) return converted_;

    use(description, planar);
    delay_ = static_cast<double>(swr_get_delay(context_.get(), sampleRate_)) / sampleRate_;
    const int room = checked(swr_get_out_samples(context_.get(), frames), cannotConvert);
    converted_.resize(static_cast<std::size_t>(room) * static_cast<std::size_t>(channels_));
    auto* output = reinterpret_cast<std::uint8_t*>(converted_.data());
    const int made =
        checked(swr_convert(context_.get(), &output, room, planes.data(), frames), cannotConvert);
    converted_.resize(static_cast<std::size_t>(made) * static_cast<std::size_t>(channels_));
    return converted_;
}

void appendStretched(const float* from, std::size_t take, std::size_t make, int channels,
                     std::vector<float>& to) {
    const auto width = static_cast<std::size_t>(channels);
    if (take == make) {
        to.insert(to.end(), from, from + take * width);
        return;
    }
    const auto frame = [&](std::ptrdiff_t index, std::size_t channel) {
        const std::ptrdiff_t inside =
            std::clamp<std::ptrdiff_t>(index, 0, static_cast<std::ptrdiff_t>(take) - 1);
        return from[static_cast<std::size_t>(inside) * width + channel];
    };
    for (std::size_t i = 0; i < make; ++i) {
        const double position =
            static_cast<double>(i) * static_cast<double>(take) / static_cast<double>(make);
        const auto index = static_cast<std::ptrdiff_t>(position);
        const auto t = static_cast<float>(position - static_cast<double>(index));
        for (std::size_t channel = 0; channel < width; ++channel) {
            const float a = frame(index - 1, channel);
            const float b = frame(index, channel);
            const float c = frame(index + 1, channel);
            const float d = frame(index + 2, channel);
            // Catmull-Rom spline between b and c.
            to.push_back(b +
                         0.5F * t * (c - a + t * (2 * a - 5 * b + 4 * c - d + t * (3 * (b - c) + d - a))));
        }
    }
}

}  // namespace lumicrate::media
