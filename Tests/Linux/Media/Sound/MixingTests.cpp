// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/Assets.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <random>
#include <system_error>

namespace lumicrate::media {
namespace {

using lumicrate::test::audioSettings;
using lumicrate::test::MovieMaker;
using lumicrate::test::TestPicture;
using stage::MovieProbe;
using Samples = std::vector<float>;

constexpr CMTime start{1000, 1};

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

std::string codedPictures(const std::filesystem::path& movie) {
    std::string bytes;
    for (const stage::Packet& each : MovieProbe(movie).packets(0))
        bytes += each.bytes;
    return bytes;
}

class MixingTests : public testing::Test {
 protected:
    /// A recording with pictures at uneven times and two sound tracks.
    static std::unique_ptr<MovieMaker> recording(AVFileType type = AVFileType::mpeg4) {
        std::vector<AVOutputSettings> tracks;
        const std::size_t firstSound = type == AVFileType::appleM4A ? 0 : 1;
        if (firstSound == 1) tracks.emplace_back(lumicrate::test::videoSettings(64, 64));
        tracks.emplace_back(audioSettings(2));
        tracks.emplace_back(audioSettings(1));
        auto maker = std::make_unique<MovieMaker>(tracks, type);
        for (const int number : {0, 1, 2, 40, 41, 80}) {
            if (firstSound == 1)
                maker->append(0, lumicrate::test::frame(start + CMTime(number, 30),
                                                        std::make_shared<TestPicture>(64, 64)));
        }
        constexpr int frames = 3 * 48000;
        maker->append(firstSound, lumicrate::test::sound(start, noise(1, frames), 2));
        maker->append(firstSound + 1, lumicrate::test::sound(start, noise(2, frames), 1));
        maker->writer().endSessionAtSourceTime(start + CMTime(frames - 700, 48000));
        EXPECT_EQ(maker->finish(), AVAssetWriterStatus::completed);
        return maker;
    }
    void mix(const std::filesystem::path& source, AVFileType type = AVFileType::mpeg4,
             const LongWork& work = {}) const {
        std::error_code ignored;
        std::filesystem::remove(mixed, ignored);
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

    lumicrate::test::TemporaryFolder folder;
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
        EXPECT_EQ(codedPictures(mixed), codedPictures(source->path()));
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

TEST_F(MixingTests, FailuresLeaveNothingAndOverwriteNothing) {
    const auto source = recording();
    const auto cutOff = folder / "media.mp4";
    std::filesystem::copy_file(source->path(), cutOff);
    std::filesystem::resize_file(cutOff, std::filesystem::file_size(cutOff) * 3 / 4);
    EXPECT_THROW(mix(cutOff), PlatformError);
    EXPECT_FALSE(std::filesystem::exists(mixed));

    std::ofstream(mixed) << "mine";
    EXPECT_THROW(Assets().mixAudio(source->path(), mixed, AVFileType::mpeg4, {}), PlatformError);
    EXPECT_EQ(std::filesystem::file_size(mixed), 4U);
}

TEST_F(MixingTests, CanBeCancelledAtAnyStep) {
    const auto source = recording();
    for (int steps = 0;; steps += 1 + steps / 4) {
        std::stop_source stop;
        int reports = 0;
        double last = 0;
        const LongWork work{[&](double part) {
                                EXPECT_GE(part, last);
                                EXPECT_LE(part, 1);
                                last = part;
                                if (reports++ == steps) stop.request_stop();
                            },
                            stop.get_token()};
        try {
            mix(source->path(), AVFileType::mpeg4, work);
            EXPECT_GT(reports, 20);
            EXPECT_EQ(last, 1);
            break;
        } catch (const CancelledError&) {
            EXPECT_FALSE(std::filesystem::exists(mixed)) << steps;
        }
    }
}

}  // namespace
}  // namespace lumicrate::media
