#include "Linux/Media/Editing/PeakLimiter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumicrate::media {

namespace {

/// Below this no instant between two samples can exceed full scale: the sizes of the weights below add up to
/// less than 2.2.
constexpr float quiet = 0.45F;
/// The gain rises from nothing to one in 150 ms.
constexpr float recovery = 1 / (0.15F * 48000);

constexpr int phases = 3;  // between two samples, at a quarter, a half and three quarters
constexpr int taps = 20;

/// A sinc under a raised cosine, of unit gain at zero frequency.
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
    for (std::size_t i = 0; i + channels <= sound.size(); i += channels) {
        take({sound[i], sound[i + 1]});
        if (taken_ > lookAhead) give(limited);
    }
}

void PeakLimiter::finish(std::vector<float>& limited) {
    const std::int64_t end = taken_;
    while (given_ < end) {
        take({});
        if (taken_ > lookAhead) give(limited);
    }
}

void PeakLimiter::take(Frame frame) {
    at(taken_) = frame;
    if (std::max(std::abs(frame[0]), std::abs(frame[1])) >= quiet) lastLoud_ = taken_;
    const bool loud = taken_ - lastLoud_ < taps;
    const std::int64_t settled = taken_++ - reach;
    if (!loud || settled < 0) return;
    const float between = peakAfter(settled);
    note(settled, std::max(peakAt(settled), between));
    note(settled + 1, between);
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

/// Keeps of the needs only those that no later, greater one hides.
void PeakLimiter::note(std::int64_t frame, float peak) {
    if (peak <= 1) return;
    const float gain = 1 / peak;
    while (!needs_.empty() && needs_.back().gain >= gain)
        needs_.pop_back();
    needs_.push_back({frame, gain});
}

void PeakLimiter::give(std::vector<float>& limited) {
    const float gain = gainFor(given_);
    for (const float sample : at(given_))
        limited.push_back(gain < 1 ? sample * gain : sample);
    ++given_;
}

float PeakLimiter::gainFor(std::int64_t frame) {
    while (!needs_.empty() && needs_.front().frame < frame)
        needs_.pop_front();
    wanted_ = std::min(1.0F, wanted_ + recovery);
    if (!needs_.empty()) wanted_ = std::min(wanted_, needs_.front().gain);

    float& place = ramp_[static_cast<std::size_t>(frame % rampLength)];
    if (place > 0) --ramping_;
    rampSum_ -= place;
    place = 1 - wanted_;
    rampSum_ += place;
    if (place > 0) ++ramping_;
    if (ramping_ > 0) return static_cast<float>(1 - rampSum_ / rampLength);
    rampSum_ = 0;
    return 1;
}

}  // namespace lumicrate::media
