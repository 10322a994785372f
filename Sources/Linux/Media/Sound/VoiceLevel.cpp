// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/VoiceLevel.h"

#include <ebur128.h>

#include <cmath>
#include <new>

namespace lumicrate::media {

namespace {

constexpr unsigned long sampleRate = 48000;
/// What is quieter than this is no voice: loud, it would be noise.
constexpr double quietest = -50;

float factorOf(double decibels) {
    return static_cast<float>(std::pow(10, decibels / 20));
}

}  // namespace

struct LoudnessMeter::State {
    // With a histogram, memory does not grow with time; it is exact to 0.1 LU.
    explicit State(std::size_t channels)
        : library(ebur128_init(static_cast<unsigned int>(channels), sampleRate,
                               EBUR128_MODE_I | EBUR128_MODE_HISTOGRAM)) {
        if (library == nullptr) throw std::bad_alloc();
    }
    ~State() { ebur128_destroy(&library); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    ebur128_state* library;
};

LoudnessMeter::LoudnessMeter(std::size_t channels)
    : state_(std::make_unique<State>(channels)), channels_(channels) {}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::add(std::span<const float> sound) {
    const std::size_t frames = sound.size() / channels_;
    if (ebur128_add_frames_float(state_->library, sound.data(), frames) != EBUR128_SUCCESS)
        throw std::bad_alloc();
    frames_ += frames;
}

std::optional<double> LoudnessMeter::loudness() const {
    double loudness = 0;
    if (frames_ < sampleRate || ebur128_loudness_global(state_->library, &loudness) != EBUR128_SUCCESS ||
        loudness < quietest)
        return std::nullopt;
    return loudness;
}

VoiceLevel::VoiceLevel(std::size_t channels, double gain)
    : toLimit_(factorOf(gain - maxPeak)), limiter_(channels) {}

void VoiceLevel::process(std::span<const float> sound, std::vector<float>& leveled) {
    scaled_.assign(sound.begin(), sound.end());
    for (float& sample : scaled_)
        sample *= toLimit_;
    const std::size_t before = leveled.size();
    limiter_.process(scaled_, leveled);
    for (std::size_t i = before; i < leveled.size(); ++i)
        leveled[i] *= factorOf(maxPeak);
}

void VoiceLevel::finish(std::vector<float>& leveled) {
    const std::size_t before = leveled.size();
    limiter_.finish(leveled);
    for (std::size_t i = before; i < leveled.size(); ++i)
        leveled[i] *= factorOf(maxPeak);
}

}  // namespace lumicrate::media
