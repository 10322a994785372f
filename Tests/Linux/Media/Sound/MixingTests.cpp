// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Sound/PeakLimiter.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/ChildProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;
using Samples = std::vector<float>;

/// Noise below 4 kHz, different for each seed, so that a shift by one sample shows.
Samples noise(unsigned seed, std::size_t frames) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> spread(-1, 1);
    Samples samples(frames);
    float low = 0;
    float lower = 0;
    for (float& sample : samples) {
        low += 0.3F * (spread(random) - low);
        lower += 0.3F * (low - lower);
        sample = 0.9F * lower;
    }
    return samples;
}

/// A channel of a track as a player presents it, from time zero on.
Samples presented(const std::filesystem::path& movie, std::size_t track, std::size_t channel) {
    const stage::Sound sound = MovieProbe(movie).sound(track);
    const Samples& from = sound.samples[std::min(channel, sound.samples.size() - 1)];
    const long offset = std::lround(sound.startTime * 48000);
    Samples samples;
    for (long i = 0; i < static_cast<long>(from.size()) + offset; ++i)
        samples.push_back(i < offset ? 0 : from[static_cast<std::size_t>(i - offset)]);
    return samples;
}

/// The sum of the products of `a` and of `b` that much later, over `count` samples around the middle.
double product(const Samples& a, const Samples& b, long lag, long count) {
    const long middle = static_cast<long>(std::min(a.size(), b.size())) / 2;
    const long half = std::min(count / 2, middle - 2000);
    double sum = 0;
    for (long i = middle - half; i < middle + half; ++i)
        sum += static_cast<double>(a[static_cast<std::size_t>(i)] * b[static_cast<std::size_t>(i + lag)]);
    return sum;
}

/// How many samples later `part` is in `whole`, and with which gain.
std::pair<long, double> found(const Samples& part, const Samples& whole) {
    constexpr long some = 16384;
    constexpr long all = 1'000'000;
    long best = 0;
    for (long lag = -1200; lag <= 1200; ++lag) {
        if (product(part, whole, lag, some) > product(part, whole, best, some)) best = lag;
    }
    return {best, product(part, whole, best, all) / product(part, part, 0, all)};
}

class MixingTests : public testing::Test {
 protected:
    /// A recording with pictures at uneven times and two sound tracks.
    static std::unique_ptr<MovieMaker> recording(AVFileType type = AVFileType::mpeg4) {
        std::vector<AVOutputSettings> tracks;
        const std::size_t firstSound = type == AVFileType::appleM4A ? 0 : 1;
        if (firstSound == 1) tracks.emplace_back(videoSettings(64, 64));
        tracks.emplace_back(audioSettings(2));
        tracks.emplace_back(audioSettings(1));
        auto maker = std::make_unique<MovieMaker>(tracks, type);
        for (const int number : firstSound == 1 ? std::vector{0, 1, 2, 40, 41, 80} : std::vector<int>{})
            maker->append(0, frame(start + CMTime(number, 30), std::make_shared<TestPicture>(64, 64)));
        constexpr int frames = 3 * 48000;
        maker->append(firstSound, sound(start, noise(1, frames), 2));
        maker->append(firstSound + 1, sound(start, noise(2, frames), 1));
        maker->writer().endSessionAtSourceTime(start + CMTime(frames - 700, 48000));
        EXPECT_EQ(maker->finish(), AVAssetWriterStatus::completed);
        return maker;
    }
    void mix(const std::filesystem::path& source, AVFileType type = AVFileType::mpeg4,
             const LongWork& work = {}) const {
        std::filesystem::remove(mixed);
        Assets().mixAudio(source, mixed, type, work);
    }
    /// The mix has one track, which contains every track of `source` at full gain and to the sample.
    void expectSum(const std::filesystem::path& source, long tolerance = 0) const {
        const MovieProbe probe(mixed);
        ASSERT_EQ(probe.count(stage::Track::Kind::Audio), 1U);
        EXPECT_EQ(probe.audioTrack().codec, "aac");
        EXPECT_EQ(probe.audioTrack().sampleRate, 48000);
        EXPECT_EQ(probe.audioTrack().channels, 2);
        for (std::size_t track = 0; track < MovieProbe(source).count(stage::Track::Kind::Audio); ++track) {
            for (const std::size_t channel : {0U, 1U}) {
                const auto [lag, gain] =
                    found(presented(source, track, channel), presented(mixed, 0, channel));
                EXPECT_LE(std::abs(lag), tolerance) << track;
                EXPECT_NEAR(gain, 1, 0.03) << track;
            }
        }
    }

    TemporaryFolder folder;
    std::filesystem::path mixed = folder / "mixed";
};

TEST_F(MixingTests, TheTracksSoundTogetherAndPicturesStay) {
    for (const AVFileType type : {AVFileType::mpeg4, AVFileType::quickTimeMovie, AVFileType::appleM4A}) {
        SCOPED_TRACE(static_cast<int>(type));
        const auto source = recording(type);
        mix(source->path(), type);
        expectSum(source->path());
        MovieProbe before(source->path());
        MovieProbe after(mixed);
        EXPECT_TRUE(after.indexInFront());
        EXPECT_NEAR(after.duration(), before.duration(), 1e-3);
        EXPECT_NEAR(after.audioTrack().duration, before.audioTrack().duration, 1.0 / 48000);
        EXPECT_EQ(after.tag("creation_time"), before.tag("creation_time"));
        if (type == AVFileType::appleM4A) continue;
        EXPECT_TRUE(std::ranges::equal(after.packets(0), before.packets(0), {}, &stage::Packet::bytes,
                                       &stage::Packet::bytes));
        EXPECT_EQ(after.videoTrack().codecTag, "avc1");
        EXPECT_EQ(after.pictureTimes(), before.pictureTimes());
        EXPECT_NEAR(after.videoTrack().duration, before.videoTrack().duration, 1e-4);
    }
}

TEST_F(MixingTests, TracksOfAnyStartRateAndCodecAreMixedToTheSample) {
    const auto source = recording();
    const auto other = folder / "other.mp4";
    const std::string copied = " -i " + source->path().string();
    const struct {
        std::string what, arguments;
        bool asInSource = false;  ///< the sound is encoded again: compare with the source
        long tolerance = 0;
    } cases[] = {
        {"one begins late", "-itsoffset 0.7313125" + copied + " -map 0 -map -0:2 -map 1:2 -c copy"},
        {"cut in the middle of a packet", "-ss 0.5031" + copied + " -map 1 -c copy"},
        {"three tracks",
         "-f lavfi -i anoisesrc=r=48000:d=3:a=0.1:seed=3 -map 0 -map 1 -c:v copy -c:a:0 copy -c:a:1 copy"},
        {"another rate", "-map 0 -c:v copy -c:a:0 copy -c:a:1 aac -ar:a:1 44100", true, 1},
        {"another codec", "-map 0 -c:v copy -c:a alac", true},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        stage::runProgram(
            {"sh", "-c", "ffmpeg -v error -y" + copied + " " + each.arguments + " " + other.string()});
        mix(other);
        expectSum(each.asInSource ? source->path() : other, each.tolerance);
    }
}

TEST_F(MixingTests, CancellingLeavesNothingAndNothingIsOverwritten) {
    const auto source = recording();
    std::stop_source stop;
    std::vector<double> parts;
    const LongWork work{[&](double part) {
                            parts.push_back(part);
                            if (part > 0.5) stop.request_stop();
                        },
                        stop.get_token()};
    EXPECT_THROW(mix(source->path(), AVFileType::mpeg4, work), CancelledError);
    EXPECT_GT(parts.size(), 10U);
    EXPECT_TRUE(std::is_sorted(parts.begin(), parts.end()));
    EXPECT_FALSE(std::filesystem::exists(mixed));

    writeText(mixed, "mine");
    EXPECT_THROW(Assets().mixAudio(source->path(), mixed, AVFileType::mpeg4, {}), PlatformError);
    EXPECT_EQ(readText(mixed), "mine");
}

/// A tone on each channel, with an amplitude per frame.
template <class Amplitude>
Samples tones(std::size_t frames, double frequency, double phase, Amplitude amplitude) {
    Samples sound(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i) / 48000 + phase;
        sound[2 * i] = static_cast<float>(amplitude(i) * std::sin(angle));
        sound[2 * i + 1] = static_cast<float>(amplitude(i) / 2 * std::cos(angle));
    }
    return sound;
}

Samples limited(const Samples& sound, std::size_t piece) {
    PeakLimiter limiter;
    Samples result;
    for (std::size_t from = 0; from < sound.size(); from += piece * 2)
        limiter.process(std::span(sound).subspan(from, std::min(piece * 2, sound.size() - from)), result);
    limiter.finish(result);
    return result;
}

/// The maximum at sixteen times the rate, interpolated by a much longer sinc than the limiter's.
double truePeak(const Samples& sound) {
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
        const Samples sound = tones(frames, 997, 0.3, [](std::size_t) { return 0.999; });
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
        const Samples sound = tones(57600, each.frequency, each.phase, amplitude);
        const Samples result = limited(sound, 1000);
        ASSERT_EQ(result.size(), sound.size());
        const double peak = truePeak(Samples(result.begin() + 2 * 23000, result.begin() + 2 * 30000));
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
    Samples sound(2 * 9600, 0.5F);
    sound[2 * 4800] = 2;
    const Samples result = limited(sound, 512);
    for (std::size_t i = 1; i < 9600; ++i) {
        if (i == 4800 || i == 4801) continue;
        EXPECT_LT(std::abs(result[2 * i] - result[2 * i - 2]), 0.01F) << i;
    }
    EXPECT_NEAR(result[2 * 4800], 1, 0.1);
}

}  // namespace
}  // namespace lumicrate::media
