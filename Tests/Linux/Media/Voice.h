// SPDX-License-Identifier: GPL-3.0-or-later
// Voice: a sound with the rhythm and the overtones of speech, noises behind it, and what is measured of them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

namespace lumicrate::test {

/// Mono, at 48000 Hz.
using Samples = std::vector<float>;

/// Speech of two seconds, then a pause of a second, and so on.
inline bool isSpeech(std::size_t frame) {
    return frame % (3 * 48000) < 2 * 48000;
}

/// Four syllables a second, with overtones of a pitch that changes.
inline Samples syntheticVoice(int seconds, double level = 0.2) {
    Samples voice(static_cast<std::size_t>(seconds) * 48000);
    double phase = 0;
    for (std::size_t i = 0; i < voice.size(); ++i) {
        const double time = static_cast<double>(i) / 48000;
        const double pitch = 140 + 30 * std::sin(2 * std::numbers::pi * 0.9 * time);
        phase += 2 * std::numbers::pi * pitch / 48000;
        const double syllable = std::sin(std::numbers::pi * 4 * time);
        double sum = 0;
        for (int overtone = 1; overtone <= 20; ++overtone)
            sum += std::sin(overtone * phase) / std::sqrt(overtone);
        if (isSpeech(i)) voice[i] = static_cast<float>(level * syllable * syllable * sum);
    }
    return voice;
}

enum class Noise { hiss, rumble, hum };

/// `level` is its effective value. The same for each call.
inline Samples syntheticNoise(Noise kind, std::size_t frames, double level) {
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    Samples noise(frames);
    double low = 0;
    double squares = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        const double angle = 2 * std::numbers::pi * 50 * static_cast<double>(i) / 48000;
        low += 0.03 * (normal(random) - low);
        const double hum = std::sin(angle) + std::sin(3 * angle) / 2 + std::sin(6 * angle) / 4;
        const double sample = kind == Noise::hiss ? normal(random) : kind == Noise::rumble ? low : hum;
        noise[i] = static_cast<float>(sample);
        squares += sample * sample;
    }
    const double scale = level / std::sqrt(squares / static_cast<double>(frames));
    for (float& sample : noise)
        sample *= static_cast<float>(scale);
    return noise;
}

inline Samples sum(Samples one, const Samples& other) {
    std::transform(one.begin(), one.end(), other.begin(), one.begin(), std::plus());
    return one;
}

/// The effective value of what is or isn't speech, without the tenth of a second around each change.
inline double level(const Samples& sound, bool speech) {
    double squares = 0;
    std::size_t count = 0;
    for (std::size_t i = 4800; i + 4800 < sound.size(); ++i) {
        if (isSpeech(i - 4800) != speech || isSpeech(i + 4800) != speech) continue;
        squares += static_cast<double>(sound[i]) * static_cast<double>(sound[i]);
        ++count;
    }
    return std::sqrt(squares / static_cast<double>(count));
}
inline double levelInSpeech(const Samples& sound) {
    return level(sound, true);
}
inline double levelInPauses(const Samples& sound) {
    return level(sound, false);
}

inline double decibels(double ratio) {
    return 20 * std::log10(ratio);
}

/// Of `sound` as a copy of `voice`, in dB.
inline double signalToNoise(const Samples& voice, const Samples& sound) {
    Samples difference = sound;
    std::transform(sound.begin(), sound.end(), voice.begin(), difference.begin(), std::minus());
    return decibels(levelInSpeech(voice) / levelInSpeech(difference));
}

/// How many samples later `sound` is than `reference`: the maximum of their cross-correlation.
inline long delayOf(const Samples& sound, const Samples& reference) {
    constexpr long reach = 1200;
    const long end = static_cast<long>(std::min(sound.size(), reference.size())) - reach;
    const auto product = [&](long lag) {
        double sum = 0;
        for (long i = reach; i < end; i += 3)
            sum += static_cast<double>(reference[std::size_t(i)] * sound[std::size_t(i + lag)]);
        return sum;
    };
    long best = -reach;
    double most = product(best);
    for (long lag = best + 1; lag <= reach; ++lag) {
        const double each = product(lag);
        if (each > most) {
            most = each;
            best = lag;
        }
    }
    return best;
}

}  // namespace lumicrate::test
