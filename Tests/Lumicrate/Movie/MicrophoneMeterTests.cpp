#include "Lumicrate/Movie/MicrophoneMeter.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>
#include <vector>

namespace lumicrate::test {
namespace {

template <class Sample>
std::vector<Sample> constant(double value, double fullScale) {
    return std::vector<Sample>(480, static_cast<Sample>(value * fullScale));
}

TEST(MicrophoneMeterTests, MicrophoneLevelsAreLinearInDecibels) {
    const double quarter = std::pow(10, -25.0 / 20);
    std::vector<float> sine(4800);
    for (std::size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(std::sin(2 * std::numbers::pi * static_cast<double>(i) / 48));
    CMSampleBuffer loudRight = sound(ms(0), AudioSampleFormat::float32, constant<float>(0, 1));
    loudRight.audio->buffers.push_back(
        sound(ms(0), AudioSampleFormat::float32, constant<float>(-1, 1)).audio->buffers[0]);
    CMSampleBuffer cutShort = sound(ms(0), AudioSampleFormat::float32, constant<float>(1, 1));
    cutShort.audio->buffers[0].resize(3);

    const std::vector<std::pair<CMSampleBuffer, double>> cases = {
        {sound(ms(0), AudioSampleFormat::float32, constant<float>(1, 1)), 1},
        {sound(ms(0), AudioSampleFormat::float32, constant<float>(3, 1)), 1},
        {sound(ms(0), AudioSampleFormat::float32, constant<float>(quarter, 1)), 0.5},
        {sound(ms(0), AudioSampleFormat::int32, constant<std::int32_t>(quarter, 2147483648.0)), 0.5},
        {sound(ms(0), AudioSampleFormat::int16, constant<std::int16_t>(quarter, 32768)), 0.5},
        {sound(ms(0), AudioSampleFormat::int16, constant<std::int16_t>(-1, 32768)), 1},
        {sound(ms(0), AudioSampleFormat::float32, sine), (20 * std::log10(std::sqrt(0.5)) + 50) / 50},
        {loudRight, 1},
        {cutShort, 0},
        {sound(ms(0), AudioSampleFormat::float32, constant<float>(0.0000005, 1)), 0},
        {sound(ms(0), AudioSampleFormat::float32, std::vector<float>()), 0},
        {sound(ms(0), AudioSampleFormat::other, constant<float>(1, 1)), 0}};
    MicrophoneMeter meter;
    std::vector<float> levels;
    meter.setSink([&levels](float level) { levels.push_back(level); });
    for (std::size_t i = 0; i < cases.size(); ++i) {
        CMSampleBuffer sample = cases[i].first;
        sample.timing.presentationTimeStamp = ms(10'000 + static_cast<std::int64_t>(i) * 100);
        meter.process(sample);
        ASSERT_EQ(levels.size(), i + 1);
        EXPECT_NEAR(levels.back(), cases[i].second, 1e-4) << i;
    }
}

TEST(MicrophoneMeterTests, LevelsComeAtMostFifteenTimesASecond) {
    MicrophoneMeter meter;
    int levels = 0;
    meter.setSink([&levels](float) { ++levels; });
    const CMTime fifteenth(1, 15);
    meter.process(sound(fifteenth));
    EXPECT_EQ(levels, 0);
    meter.process(sound(fifteenth + CMTime(1, 1'000'000'000)));
    EXPECT_EQ(levels, 1);
    meter.process(sound(fifteenth + fifteenth));
    EXPECT_EQ(levels, 1);
    meter.process(sound(ms(10'000)));
    EXPECT_EQ(levels, 2);
}

}  // namespace
}  // namespace lumicrate::test
