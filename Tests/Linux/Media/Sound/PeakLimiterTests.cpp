// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/PeakLimiter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace lumicrate::media {
namespace {

using Stereo = std::vector<float>;

/// A tone on each channel, with an amplitude per frame.
template <class Amplitude>
Stereo tones(std::size_t frames, double frequency, double phase, Amplitude amplitude) {
    Stereo sound(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i) / 48000 + phase;
        sound[2 * i] = static_cast<float>(amplitude(i) * std::sin(angle));
        sound[2 * i + 1] = static_cast<float>(amplitude(i) / 2 * std::cos(angle));
    }
    return sound;
}

Stereo limited(const Stereo& sound, std::size_t piece) {
    PeakLimiter limiter;
    Stereo result;
    for (std::size_t from = 0; from < sound.size(); from += piece * 2)
        limiter.process(std::span(sound).subspan(from, std::min(piece * 2, sound.size() - from)), result);
    limiter.finish(result);
    return result;
}

/// The maximum at sixteen times the rate, interpolated by a much longer sinc than the limiter's.
double truePeak(const Stereo& sound) {
    constexpr int reach = 64;
    const auto frames = static_cast<int>(sound.size() / 2);
    double peak = 0;
    for (int i = 0; i < frames * 16; ++i) {
        std::array<double, 2> sum{};
        for (int at = std::max(i / 16 - reach, 0); at < std::min(i / 16 + reach, frames); ++at) {
            const double distance = i / 16.0 - at;
            const double angle = std::numbers::pi * distance;
            const double window = std::pow(std::cos(angle / (2.0 * (reach + 1))), 2);
            const double weight = distance == 0 ? 1 : std::sin(angle) / angle * window;
            for (std::size_t channel = 0; channel < 2; ++channel)
                sum[channel] +=
                    weight * static_cast<double>(sound[static_cast<std::size_t>(at) * 2 + channel]);
        }
        peak = std::max({peak, std::abs(sum[0]), std::abs(sum[1])});
    }
    return peak;
}

TEST(PeakLimiterTests, WhatDoesNotClipIsUnchanged) {
    // Just below full scale, also between samples; also shorter than the look-ahead.
    for (const std::size_t frames : {9600U, 100U, 1U}) {
        const Stereo sound = tones(frames, 997, 0.3, [](std::size_t) { return 0.999; });
        for (const std::size_t piece : {1U, 333U, 8192U})
            EXPECT_EQ(limited(sound, piece), sound) << frames << " " << piece;
    }
    EXPECT_TRUE(limited({}, 1).empty());
}

TEST(PeakLimiterTests, PeaksAreReducedToFullScaleAndTheRestIsUnchanged) {
    const struct {
        const char* what;
        double frequency, phase, loud, tolerance;
    } cases[] = {
        {"twice full scale", 440, 0, 2.0, 0.003},
        // Sampled beside its peaks, it clips only between samples.
        {"a quarter of the rate", 12000, std::numbers::pi / 4, 1.3, 0.01},
        {"low and far too loud", 50, 0, 3.5, 0.003},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const auto amplitude = [&](std::size_t i) { return i > 24000 && i < 28800 ? each.loud : 0.4; };
        const Stereo sound = tones(57600, each.frequency, each.phase, amplitude);
        const Stereo result = limited(sound, 1000);
        ASSERT_EQ(result.size(), sound.size());
        const double peak = truePeak(Stereo(result.begin() + 2 * 23000, result.begin() + 2 * 30000));
        EXPECT_LE(peak, 1 + each.tolerance);
        EXPECT_GE(peak, 0.9) << "not reduced too much";
        const auto same = [&](long from, long to) {
            return std::equal(sound.begin() + from * 2, sound.begin() + to * 2, result.begin() + from * 2);
        };
        EXPECT_TRUE(same(0, 24000 - 250)) << "before the ramp";
        EXPECT_TRUE(same(28800 + 7200 + 500, 57600)) << "after the recovery";
    }
}

TEST(PeakLimiterTests, TheGainChangesSmoothly) {
    Stereo sound(2 * 9600, 0.5F);
    sound[2 * 4800] = 2;
    const Stereo result = limited(sound, 512);
    for (std::size_t i = 1; i < 9600; ++i) {
        if (i == 4800 || i == 4801) continue;
        EXPECT_LT(std::abs(result[2 * i] - result[2 * i - 2]), 0.01F) << i;
    }
    EXPECT_NEAR(result[2 * 4800], 1, 0.1);
}

}  // namespace
}  // namespace lumicrate::media
