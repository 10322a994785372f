// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/ParallelAacEncoder.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>

namespace lumicrate::media {
namespace {

constexpr std::int64_t stretch = ParallelAacEncoder::stretchLength;
const ParallelAacEncoder encoder(48000, 1, 96'000);

struct Coded {
    std::vector<std::uint8_t> data;
    std::int64_t time = 0;
    std::int64_t duration = 0;
};

std::vector<Coded> encoded(const std::vector<float>& sound) {
    std::size_t given = 0;
    std::vector<Coded> samples;
    encoder.encode(
        [&] {
            const std::size_t count = std::min<std::size_t>(10'000, sound.size() - given);
            const auto from = sound.begin() + static_cast<std::ptrdiff_t>(given);
            given += count;
            return std::vector<float>(from, from + static_cast<std::ptrdiff_t>(count));
        },
        [&](const MovieSample& sample) {
            samples.push_back({{sample.data.begin(), sample.data.end()}, sample.time, sample.duration});
        });
    return samples;
}

TEST(ParallelAacEncoderTests, SamplesFollowEachOtherToTheLastFrame) {
    for (const std::int64_t length : {std::int64_t{0}, std::int64_t{1}, std::int64_t{1025}, stretch - 1,
                                      stretch, stretch + 1, stretch + 4096, stretch + 4097, 2 * stretch}) {
        const std::vector<Coded> samples = encoded(std::vector<float>(static_cast<std::size_t>(length)));
        ASSERT_EQ(samples.empty(), length == 0);
        if (samples.empty()) continue;
        EXPECT_EQ(samples.front().time, -1024);
        for (std::size_t i = 1; i < samples.size(); ++i)
            ASSERT_EQ(samples[i].time, samples[i - 1].time + samples[i - 1].duration) << length;
        EXPECT_EQ(samples.back().time + samples.back().duration, length);
    }
}

/// As a player plays it, from frame zero on.
std::vector<float> decoded(const std::vector<Coded>& samples) {
    const lumicrate::test::TemporaryFolder folder;
    MovieFile file(folder / "a.m4a", AVFileType::appleM4A, RecoveryList(folder / "unfinished"));
    const int track = file.addTrack({encoder.description(), "Sound", 48000, 1024}, 96'000);
    file.begin();
    for (const Coded& each : samples)
        file.write(track, {each.data, each.time, each.duration, true});
    file.finish();
    return stage::MovieProbe(folder / "a.m4a").sound().samples.at(0);
}

double differenceAround(const std::vector<float>& a, const std::vector<float>& b, std::int64_t place) {
    double sum = 0;
    for (std::int64_t i = place - 1024; i < place + 1024; ++i)
        sum += std::pow(a[static_cast<std::size_t>(i)] - b[static_cast<std::size_t>(i)], 2);
    return std::sqrt(sum / 2048);
}

TEST(ParallelAacEncoderTests, SeamsAreInaudible) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> spread(-0.05F, 0.05F);
    std::vector<float> sound(static_cast<std::size_t>(4 * stretch + 60'000));
    for (std::size_t i = 0; i < sound.size(); ++i)
        sound[i] = spread(random) + 0.4F * static_cast<float>(std::sin(0.03 * static_cast<double>(i)));
    // Clicks make an encoder switch its windows: before, on and after the seam, and the same elsewhere.
    for (std::int64_t seam = 1; seam <= 4; ++seam) {
        for (const std::int64_t click : {-1500, 0, 300}) {
            for (const std::int64_t at : {seam * stretch + click, seam * stretch - 100'000 + click}) {
                for (std::int64_t i = 0; i < 40; ++i)
                    sound[static_cast<std::size_t>(at + i)] += i % 2 == 0 ? 0.5F : -0.5F;
            }
            if (seam % 2 == 0) break;
        }
    }
    const std::vector<float> heard = decoded(encoded(sound));
    ASSERT_GE(heard.size(), sound.size());
    for (std::int64_t seam = 1; seam <= 4; ++seam) {
        const std::int64_t place = seam * stretch;
        EXPECT_LT(differenceAround(sound, heard, place),
                  1.25 * differenceAround(sound, heard, place - 100'000))
            << seam;
    }
}

TEST(ParallelAacEncoderTests, AnExceptionOfTheSinkEndsIt) {
    int count = 0;
    const auto endless = [] { return std::vector<float>(100'000); };
    const auto refuse = [&](const MovieSample&) {
        if (++count == 700) throw std::runtime_error("full");
    };
    EXPECT_THROW(encoder.encode(endless, refuse), std::runtime_error);
    EXPECT_EQ(count, 700);
}

}  // namespace
}  // namespace lumicrate::media
