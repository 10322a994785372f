// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/VoiceCleaner.h"

#include <speex/speex_preprocess.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace lumicrate::media {

namespace {

constexpr int sampleRate = 48000;
/// Frames that the library takes at once: 20 ms, as it recommends. Its output is late by as much.
constexpr std::size_t blockLength = 960;
constexpr std::size_t learnedFrames = std::size_t{2} * sampleRate;
/// The most by which noise is reduced, in dB. With more, what is left of hiss begins to sound like water.
constexpr int suppression = -25;
/// The library takes 16-bit samples. One bit of headroom, because decoded sound may exceed full scale.
constexpr float scale = 16384;

std::int16_t toInteger(float sample) {
    using Limits = std::numeric_limits<std::int16_t>;
    const float scaled = std::clamp(sample * scale, float{Limits::min()}, float{Limits::max()});
    return static_cast<std::int16_t>(std::lrint(scaled));
}

SpeexPreprocessState* makeState() {
    SpeexPreprocessState* state = speex_preprocess_state_init(static_cast<int>(blockLength), sampleRate);
    if (state == nullptr) throw std::bad_alloc();
    int on = 1;
    int most = suppression;
    speex_preprocess_ctl(state, SPEEX_PREPROCESS_SET_DENOISE, &on);
    speex_preprocess_ctl(state, SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &most);
    return state;
}

}  // namespace

void VoiceCleaner::Free::operator()(SpeexPreprocessState* state) const {
    speex_preprocess_state_destroy(state);
}

VoiceCleaner::VoiceCleaner(std::size_t channels) : samples_(blockLength) {
    for (std::size_t i = 0; i < channels; ++i)
        channels_.emplace_back(makeState());
}

VoiceCleaner::~VoiceCleaner() = default;

void VoiceCleaner::process(std::span<const float> sound, std::vector<float>& cleaned) {
    waiting_.insert(waiting_.end(), sound.begin(), sound.end());
    owed_ += sound.size();
    if (!learned_ && waiting_.size() < learnedFrames * channels_.size()) return;
    learn();
    cleanBlocks(cleaned);
}

void VoiceCleaner::finish(std::vector<float>& cleaned) {
    learn();
    const std::size_t before = cleaned.size();
    const std::size_t left = owed_;
    // The last frames come out with the block after theirs.
    const std::size_t block = blockLength * channels_.size();
    waiting_.resize((waiting_.size() + block - 1) / block * block + block);
    cleanBlocks(cleaned);
    cleaned.resize(before + left);
}

/// Runs over the waiting sound without keeping the result.
void VoiceCleaner::learn() {
    if (learned_) return;
    learned_ = true;
    const std::size_t size = blockLength * channels_.size();
    const std::size_t end = std::min(waiting_.size(), learnedFrames * channels_.size());
    std::vector<float> block;
    for (std::size_t at = 0; at + size <= end; at += size) {
        const auto from = waiting_.begin() + static_cast<std::ptrdiff_t>(at);
        block.assign(from, from + static_cast<std::ptrdiff_t>(size));
        run(block);
    }
}

void VoiceCleaner::cleanBlocks(std::vector<float>& cleaned) {
    const std::size_t size = blockLength * channels_.size();
    std::size_t at = 0;
    for (; at + size <= waiting_.size(); at += size) {
        const std::span block = std::span(waiting_).subspan(at, size);
        run(block);
        if (begun_) {
            cleaned.insert(cleaned.end(), block.begin(), block.end());
            owed_ -= std::min(owed_, size);
        }
        begun_ = true;
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(at));
}

/// Replaces a block by the clean one before it.
void VoiceCleaner::run(std::span<float> block) {
    const std::size_t count = channels_.size();
    for (std::size_t channel = 0; channel < count; ++channel) {
        for (std::size_t i = 0; i < blockLength; ++i)
            samples_[i] = toInteger(block[i * count + channel]);
        speex_preprocess_run(channels_[channel].get(), samples_.data());
        for (std::size_t i = 0; i < blockLength; ++i)
            block[i * count + channel] = static_cast<float>(samples_[i]) / scale;
    }
}

}  // namespace lumicrate::media
