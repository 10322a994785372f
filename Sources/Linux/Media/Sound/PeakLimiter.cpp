// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/PeakLimiter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumicrate::media {

namespace {

/// When all samples around are below this, no instant between them can exceed full scale: the absolute values
/// of the weights below add up to less than 2.2.
constexpr float quiet = 0.45F;
/// The gain can rise from zero to one in 150 ms.
constexpr float recovery = 1 / (0.15F * 48000);

constexpr int phases = 3;  // between two samples, at a quarter, a half and three quarters
constexpr int taps = 20;

/// A sinc with a raised cosine window; the weights add up to one.
std::array<std::array<float, taps>, phases> makeWeights() {
    std::array<std::array<float, taps>, phases> weights{};
    for (int phase = 0; phase < phases; ++phase) {
        std::array<double, taps> exact{};
        double sum = 0;
        for (int tap = 0; tap < taps; ++tap) {
            const double distance = tap - (taps / 2 - 1) - (phase + 1) / 4.0;
            const double angle = std::numbers::pi * distance;
            const double window = std::pow(std::cos(angle / taps), 2);
            exact[static_cast<std::size_t>(tap)] = std::sin(angle) / angle * window;
            sum += exact[static_cast<std::size_t>(tap)];
        }
        for (std::size_t tap = 0; tap < taps; ++tap)
            weights[static_cast<std::size_t>(phase)][tap] = static_cast<float>(exact[tap] / sum);
    }
    return weights;
}

const std::array<std::array<float, taps>, phases> weights = makeWeights();

}  // namespace

void PeakLimiter::process(std::span<const float> sound, std::vector<float>& limited) {
    limited.reserve(limited.size() + sound.size());
    for (std::size_t i = 0; i + channels_ <= sound.size(); i += channels_) {
        add({sound[i], channels_ == 2 ? sound[i + 1] : 0});
        if (added_ > lookAhead) output(limited);
    }
}

void PeakLimiter::finish(std::vector<float>& limited) {
    const std::int64_t end = added_;
    while (written_ < end) {
        add({});
        if (added_ > lookAhead) output(limited);
    }
}

void PeakLimiter::add(Frame frame) {
    at(added_) = frame;
    if (std::max(std::abs(frame[0]), std::abs(frame[1])) >= quiet) lastLoud_ = added_;
    const bool loud = added_ - lastLoud_ < taps;
    const std::int64_t settled = added_++ - reach;
    if (!loud || settled < 0) return;
    const float between = peakAfter(settled);
    notePeak(settled, std::max(peakAt(settled), between));
    notePeak(settled + 1, between);
}

float PeakLimiter::peakAt(std::int64_t frame) const {
    return std::max(std::abs(at(frame)[0]), std::abs(at(frame)[1]));
}

/// Between this frame and the next.
float PeakLimiter::peakAfter(std::int64_t frame) const {
    float peak = 0;
    for (const auto& phase : weights) {
        Frame sum{};
        for (std::int64_t tap = 0; tap < taps; ++tap) {
            const Frame& each = at(frame + tap - (taps / 2 - 1) + ringSize);
            const float weight = phase[static_cast<std::size_t>(tap)];
            sum[0] += weight * each[0];
            sum[1] += weight * each[1];
        }
        peak = std::max({peak, std::abs(sum[0]), std::abs(sum[1])});
    }
    return peak;
}

/// Drops earlier entries that a later, louder peak makes irrelevant.
void PeakLimiter::notePeak(std::int64_t frame, float peak) {
    if (peak <= 1) return;
    const float gain = 1 / peak;
    while (!maxGains_.empty() && maxGains_.back().gain >= gain)
        maxGains_.pop_back();
    maxGains_.push_back({frame, gain});
}

void PeakLimiter::output(std::vector<float>& limited) {
    const float gain = gainFor(written_);
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        const float sample = at(written_)[channel];
        limited.push_back(gain < 1 ? sample * gain : sample);
    }
    ++written_;
}

float PeakLimiter::gainFor(std::int64_t frame) {
    while (!maxGains_.empty() && maxGains_.front().frame < frame)
        maxGains_.pop_front();
    target_ = std::min(1.0F, target_ + recovery);
    if (!maxGains_.empty()) target_ = std::min(target_, maxGains_.front().gain);

    float& place = ramp_[static_cast<std::size_t>(frame % rampLength)];
    if (place > 0) --reductions_;
    rampSum_ -= place;
    place = 1 - target_;
    rampSum_ += place;
    if (place > 0) ++reductions_;
    if (reductions_ > 0) return static_cast<float>(1 - rampSum_ / rampLength);
    rampSum_ = 0;
    return 1;
}

}  // namespace lumicrate::media
