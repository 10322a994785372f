#include "Tests/Stage/Measure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

namespace lumicrate::stage {

namespace {

std::vector<float> tone(double frequency, float amplitude, int count, int from = 0) {
    std::vector<float> samples(static_cast<std::size_t>(count));
    for (int i = from; i < count; ++i) {
        samples[static_cast<std::size_t>(i)] =
            amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * frequency * (i - from) / 48000));
    }
    return samples;
}

TEST(Measure, findsTheFirstLoudSample) {
    std::vector<float> samples(1000, 0.01F);
    samples[700] = -0.3F;
    samples[800] = 0.9F;
    EXPECT_EQ(onset(samples, 0.2F), 700U);
    EXPECT_EQ(onset(samples, 0.5F), 800U);
    EXPECT_EQ(onset(samples, 0.2F, 701), 800U);
    EXPECT_EQ(onset(samples, 0.95F), std::nullopt);
}

TEST(Measure, tellsBurstsApartFromTheSwingsOfATone) {
    auto samples = tone(1000, 0.5F, 48000, 10000);
    std::fill(samples.begin() + 20000, samples.begin() + 30000, 0.0F);
    const auto found = onsets(samples, 0.1F, 4800);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_NEAR(static_cast<double>(found[0]), 10000, 3);
    EXPECT_NEAR(static_cast<double>(found[1]), 30000, 3);
}

TEST(Measure, measuresATone) {
    const auto samples = tone(997.3, 0.4F, 48000);
    EXPECT_NEAR(toneFrequency(samples, 48000), 997.3, 0.05);
    EXPECT_NEAR(toneAmplitude(samples, 48000, 997.3), 0.4, 0.002);
    EXPECT_NEAR(toneAmplitude(samples, 48000, 1500), 0, 0.002);
    EXPECT_NEAR(loudness(samples), 0.4 / std::numbers::sqrt2, 0.001);
    EXPECT_NEAR(toneFrequency(tone(440, 0.1F, 9600), 48000), 440, 0.5);
}

class Grey {
 public:
    Grey(int width, int height, const std::function<int(int, int)>& value) : width_(width), height_(height) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                samples_.push_back(static_cast<std::uint8_t>(value(x, y)));
            }
        }
    }
    Plane plane() const { return {samples_.data(), width_, width_, height_, 1}; }

 private:
    int width_;
    int height_;
    std::vector<std::uint8_t> samples_;
};

TEST(Measure, comparesStructure) {
    const auto pattern = [](int x, int y) { return (x * 7 + y * 13) % 200; };
    const Grey original(64, 48, pattern);
    const Grey same(64, 48, pattern);
    const Grey noisy(64, 48, [&](int x, int y) { return pattern(x, y) + (x * y) % 9; });
    const Grey inverted(64, 48, [&](int x, int y) { return 200 - pattern(x, y); });
    EXPECT_DOUBLE_EQ(structuralSimilarity(original.plane(), same.plane()), 1);
    const double slightly = structuralSimilarity(original.plane(), noisy.plane());
    EXPECT_GT(slightly, 0.95);
    EXPECT_LT(slightly, 0.9999);
    EXPECT_LT(structuralSimilarity(original.plane(), inverted.plane()), 0);
    EXPECT_THROW(structuralSimilarity(original.plane(), Grey(48, 48, pattern).plane()),
                 std::invalid_argument);

    // Without any structure only the brightness term is left, which can be worked out by hand.
    const Grey dark(16, 16, [](int, int) { return 50; });
    const Grey bright(16, 16, [](int, int) { return 100; });
    constexpr double c1 = 6.5025;
    EXPECT_NEAR(structuralSimilarity(dark.plane(), bright.plane()), (2 * 50 * 100 + c1) / (2500 + 10000 + c1),
                1e-12);
    EXPECT_NEAR(peakSignalToNoise(dark.plane(), bright.plane()), 20 * std::log10(255.0 / 50), 1e-9);
}

}  // namespace

}  // namespace lumicrate::stage
