// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/MicrophoneMeter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace lumicrate {

namespace {

constexpr CMTime reportInterval{1, 15};

/// The root mean square of samples with `fullScale` as 1; 0 without a whole sample.
template <class Sample>
double rootMeanSquare(std::span<const std::byte> bytes, double fullScale) {
    const std::size_t count = bytes.size() / sizeof(Sample);
    if (count == 0) return 0;
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        Sample sample{};
        std::memcpy(&sample, bytes.data() + i * sizeof(Sample), sizeof(Sample));
        const double value = static_cast<double>(sample) / fullScale;
        sum += value * value;
    }
    return std::sqrt(sum / static_cast<double>(count));
}

double rootMeanSquare(std::span<const std::byte> bytes, AudioSampleFormat format) {
    switch (format) {
        case AudioSampleFormat::float32:
            return rootMeanSquare<float>(bytes, 1);
        case AudioSampleFormat::int32:
            return rootMeanSquare<std::int32_t>(bytes, 2147483648.0);
        case AudioSampleFormat::int16:
            return rootMeanSquare<std::int16_t>(bytes, 32768.0);
        case AudioSampleFormat::other:
            break;
    }
    return 0;
}

float meterLevel(double rms) {
    const double decibels = 20 * std::log10(std::max(rms, 0.000001));
    return static_cast<float>(std::clamp((decibels + 50) / 50, 0.0, 1.0));
}

}  // namespace

void MicrophoneMeter::process(const CMSampleBuffer& sample) {
    if (!sample.audio || !sample.audio->description) return;
    double loudest = 0;
    for (const auto& buffer : sample.audio->buffers)
        loudest = std::max(loudest, rootMeanSquare(buffer, sample.audio->description->format));
    if (muted_) {
        for (auto& buffer : sample.audio->buffers)
            std::ranges::fill(buffer, std::byte{0});
    }

    const CMTime time = sample.presentationTimeStamp();
    if (!sink_ || !(time - lastReport_ > reportInterval)) return;
    lastReport_ = time;
    sink_(muted_ ? 0 : meterLevel(loudest));
}

}  // namespace lumicrate
