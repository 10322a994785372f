// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/PcmConverter.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/MovieProbe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace lumicrate::media {
namespace {

using stage::MovieProbe;
using test::audioSettings;
using test::frame;
using test::MovieMaker;
using test::sound;
using test::TestPicture;
using test::videoSettings;

constexpr CMTime start{1000, 1};

CMTime at(std::int64_t frameNumber) {
    return start + CMTime(frameNumber, 48000);
}

std::vector<float> tone(std::size_t frames) {
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < frames; ++i)
        samples[i] = 0.3F * std::sin(2 * std::numbers::pi_v<float> * 440 * static_cast<float>(i) / 48000);
    return samples;
}

/// Silence with a click: a short burst whose middle can be found to the sample.
std::vector<float> click(std::size_t frames, std::size_t where) {
    std::vector<float> samples(frames, 0);
    for (int i = -24; i <= 24; ++i) {
        const float window = 0.5F + 0.5F * std::cos(std::numbers::pi_v<float> * static_cast<float>(i) / 25);
        const float wave = std::cos(2 * std::numbers::pi_v<float> * static_cast<float>(i) / 24);
        samples.at(static_cast<std::size_t>(static_cast<int>(where) + i)) = 0.9F * window * wave;
    }
    return samples;
}

/// The place of the click, in frames from time zero.
long clickOf(const stage::Sound& sound, std::size_t channel = 0) {
    const std::vector<float>& samples = sound.samples.at(channel);
    const auto loudest = std::max_element(samples.begin(), samples.end());
    return std::lround(sound.startTime * 48000) + static_cast<long>(loudest - samples.begin());
}

/// The length of a track in frames, by the file; decoded sound includes the padding of the last packet.
long length(const MovieProbe& probe, std::size_t track = 0) {
    return std::lround(probe.audioTrack(track).duration * 48000);
}

float peak(const stage::Sound& sound, std::size_t from, std::size_t to) {
    float peak = 0;
    for (std::size_t i = from; i < to; ++i)
        peak = std::max(peak, std::abs(sound.samples[0].at(i)));
    return peak;
}

TEST(AudioTests, AClickIsAtItsTimestamp) {
    for (const auto& [firstStamp, clickAt] : std::vector<std::pair<long, std::size_t>>{
             {0, 50}, {12345, 1000}, {300, 40000}, {-5000, 30000}, {-137, 30000}}) {
        SCOPED_TRACE(firstStamp);
        MovieMaker maker({videoSettings(64, 64), audioSettings(2)});
        const auto picture = std::make_shared<TestPicture>(64, 64);
        maker.append(0, frame(start, picture));
        const std::vector<float> samples = click(96000, clickAt);
        // In pieces of no round length.
        for (long from = 0; from < 96000; from += 700) {
            const auto end = samples.begin() + std::min(96000L, from + 700);
            maker.append(1, sound(at(firstStamp + from), {samples.begin() + from, end}, 2));
        }
        maker.append(0, frame(at(48000), picture));
        MovieProbe probe = maker.finished();
        EXPECT_EQ(probe.pictureTimes(), (std::vector{0.0, 1.0}));
        const stage::Sound heard = probe.sound();
        EXPECT_EQ(heard.discontinuities, 0);
        EXPECT_NEAR(heard.startTime, 0, 1e-6);
        for (const std::size_t channel : {0U, 1U})
            EXPECT_NEAR(clickOf(heard, channel), firstStamp + static_cast<long>(clickAt), 1);
        EXPECT_NEAR(length(probe), firstStamp + 96000, 1);
    }
}

/// The timeline's tests have an hour of it.
TEST(AudioTests, DriftIsCorrected) {
    for (const double real : {1.0003, 0.9997}) {
        MovieMaker maker({audioSettings(1)}, AVFileType::appleM4A);
        constexpr long pieces = 1200;  // two minutes
        const auto stamp = [&](long piece) { return std::lround(static_cast<double>(piece) * 4800 * real); };
        for (long piece = 0; piece < pieces; ++piece) {
            const bool clicks = piece == pieces - 2;
            maker.append(0,
                         sound(at(stamp(piece)), clicks ? click(4800, 2400) : std::vector<float>(4800), 1));
        }
        MovieProbe probe = maker.finished();
        EXPECT_NEAR(length(probe), stamp(pieces), 480);
        EXPECT_NEAR(clickOf(probe.sound()), stamp(pieces - 2) + 2400, 480);
    }
}

TEST(AudioTests, TracksHaveTheirOrderAndLastAsLongAsThePictures) {
    MovieMaker maker({videoSettings(64, 64), audioSettings(2), audioSettings(1)});
    const auto picture = std::make_shared<TestPicture>(64, 64);
    maker.append(0, frame(at(0), picture));
    maker.append(2, sound(at(0), tone(4800), 1));
    maker.append(0, frame(at(48000 * 3), picture));
    MovieProbe probe = maker.finished();
    ASSERT_EQ(probe.tracks().size(), 3U);
    EXPECT_EQ(probe.tracks()[0].kind, stage::Track::Kind::Video);
    for (const std::size_t number : {0U, 1U}) {
        const stage::Track& track = probe.audioTrack(number);
        EXPECT_EQ(track.codec, "aac");
        EXPECT_EQ(track.profile, "LC");
        EXPECT_EQ(track.sampleRate, 48000);
        EXPECT_EQ(track.channels, number == 0 ? 2 : 1);
        EXPECT_EQ(track.handler, number == 0 ? "System audio" : "Microphone");
        EXPECT_NEAR(length(probe, number), 48000 * 3 + 48, 1);
        const stage::Sound heard = probe.sound(number);
        EXPECT_LT(peak(heard, 8000, heard.samples[0].size()), 0.001F);
    }
}

TEST(AudioTests, PicturesAndSoundEndWithTheSession) {
    // Before the end, and after it by more than a packet.
    for (const std::size_t frames : {47000U, 50123U}) {
        MovieMaker maker({videoSettings(64, 64), audioSettings(2)});
        maker.append(0, frame(at(0), std::make_shared<TestPicture>(64, 64)));
        maker.append(1, sound(at(0), tone(frames), 2));
        maker.writer().endSessionAtSourceTime(at(48000));
        MovieProbe probe = maker.finished();
        EXPECT_NEAR(probe.videoTrack().duration, 1, 1e-4);
        EXPECT_NEAR(length(probe), 48000, 1) << frames;
    }
    MovieMaker maker({audioSettings(2)}, AVFileType::appleM4A);
    maker.append(0, sound(at(0), tone(100), 2));
    ASSERT_EQ(maker.finish(), AVAssetWriterStatus::completed);
    EXPECT_NEAR(length(MovieProbe(maker.path())), 100, 1);
}

template <class Sample = float>
AudioBufferList buffers(int channels, const std::vector<std::vector<Sample>>& data,
                        AudioSampleFormat format = AudioSampleFormat::float32) {
    AudioBufferList list;
    list.description = {48000, channels, format};
    for (const std::vector<Sample>& each : data) {
        const auto* bytes = reinterpret_cast<const std::byte*>(each.data());
        list.buffers.emplace_back(bytes, bytes + each.size() * sizeof(Sample));
    }
    return list;
}

TEST(PcmConverterTests, ConvertsEveryFormat) {
    PcmConverter stereo(48000, 2);
    const std::vector<float> floats{0.5F, -0.25F, 0, 1};
    EXPECT_EQ(stereo.convert(buffers(2, {floats})), floats);
    EXPECT_EQ(stereo.convert(buffers(2, {{0.5F, 0}, {-0.25F, 1}})), floats);
    const std::vector<float> whole{0.5F, -0.25F, 0, -1};
    EXPECT_EQ(stereo.convert(buffers<std::int16_t>(2, {{16384, -8192, 0, -32768}}, AudioSampleFormat::int16)),
              whole);
    EXPECT_EQ(stereo.convert(buffers<std::int32_t>(
                  2, {{1 << 30, -(1 << 29), 0, std::numeric_limits<int>::min()}}, AudioSampleFormat::int32)),
              whole);
    EXPECT_EQ(stereo.convert(buffers(1, {{0.5F, -1}})), (std::vector<float>{0.5F, 0.5F, -1, -1}));
    PcmConverter mono(48000, 1);
    EXPECT_EQ(mono.convert(buffers(2, {floats})), (std::vector<float>{0.125F, 0.5F}));
    EXPECT_TRUE(mono.convert(AudioBufferList{std::nullopt, {std::vector<std::byte>(8)}}).empty());
    EXPECT_TRUE(mono.convert(buffers(1, {{1.F, 1.F}}, AudioSampleFormat::other)).empty());
}

TEST(PcmConverterTests, StretchingKeepsTheWave) {
    const std::vector<float> wave = tone(480);
    for (const std::size_t make : {479U, 481U}) {
        std::vector<float> made;
        appendStretched(wave.data(), 480, make, 1, made);
        ASSERT_EQ(made.size(), make);
        for (std::size_t i = 0; i < make; ++i) {
            const double position = static_cast<double>(i) * 480 / static_cast<double>(make);
            EXPECT_NEAR(made[i], 0.3 * std::sin(2 * std::numbers::pi * 440 * position / 48000), 2e-3) << i;
        }
    }
}

}  // namespace
}  // namespace lumicrate::media
