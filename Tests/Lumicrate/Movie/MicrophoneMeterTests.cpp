// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/MicrophoneMeter.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"

#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

namespace lumicrate::test {
namespace {

template <class Sample>
CMSampleBuffer constant(AudioSampleFormat format, double value, double fullScale = 1) {
    return sound(ms(0), format, std::vector<Sample>(480, static_cast<Sample>(value * fullScale)));
}

TEST(MicrophoneMeterTests, MicrophoneLevelsAreLinearInDecibels) {
    using enum AudioSampleFormat;
    const double quarter = std::pow(10, -25.0 / 20);
    std::vector<float> sine(4800);
    for (std::size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(std::sin(2 * std::numbers::pi * static_cast<double>(i) / 48));
    CMSampleBuffer loudRight = constant<float>(float32, 0);
    loudRight.audio->buffers.push_back(constant<float>(float32, -1).audio->buffers[0]);
    CMSampleBuffer cutShort = constant<float>(float32, 1);
    cutShort.audio->buffers[0].resize(3);

    std::pair<CMSampleBuffer, double> cases[] = {
        {constant<float>(float32, 1), 1},
        {constant<float>(float32, 3), 1},
        {constant<float>(float32, quarter), 0.5},
        {constant<std::int32_t>(int32, quarter, 2147483648.0), 0.5},
        {constant<std::int16_t>(int16, quarter, 32768), 0.5},
        {constant<std::int16_t>(int16, -1, 32768), 1},
        {sound(ms(0), float32, sine), (20 * std::log10(std::sqrt(0.5)) + 50) / 50},
        {loudRight, 1},
        {cutShort, 0},
        {constant<float>(float32, 0.0000005), 0},
        {sound(ms(0), float32, std::vector<float>()), 0},
        {constant<float>(other, 1), 0}};
    MicrophoneMeter meter;
    std::optional<float> level;
    meter.setSink([&level](float each) { level = each; });
    CMTime time = ms(10'000);
    for (auto& [sample, expected] : cases) {
        sample.timing.presentationTimeStamp = time = time + ms(100);
        level.reset();
        meter.process(sample);
        EXPECT_NEAR(level.value_or(-1), expected, 1e-4) << "at " << time.seconds() << " s";
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
