// SPDX-License-Identifier: GPL-3.0-or-later
// The way of sound into a track: AudioTimeline, PcmConverter, AudioTrack and ParallelAacEncoder.
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Linux/Media/Sound/AudioTimeline.h"
#include "Linux/Media/Sound/ParallelAacEncoder.h"
#include "Linux/Media/Sound/PcmConverter.h"
#include "Tests/Linux/Media/MovieMaker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;

using Samples = std::vector<float>;

CMTime at(std::int64_t frameNumber) {
    return start + CMTime(frameNumber, 48000);
}

Samples tone(std::size_t frames) {
    Samples samples(frames);
    for (std::size_t i = 0; i < frames; ++i)
        samples[i] = 0.3F * std::sin(2 * std::numbers::pi_v<float> * 440 * static_cast<float>(i) / 48000);
    return samples;
}

/// Silence with a click: a short burst whose middle can be found to the sample.
Samples click(std::size_t frames, std::size_t where) {
    Samples samples(frames, 0);
    for (int i = -24; i <= 24; ++i) {
        const float window = 0.5F + 0.5F * std::cos(std::numbers::pi_v<float> * static_cast<float>(i) / 25);
        const float wave = std::cos(2 * std::numbers::pi_v<float> * static_cast<float>(i) / 24);
        samples.at(static_cast<std::size_t>(static_cast<int>(where) + i)) = 0.9F * window * wave;
    }
    return samples;
}

/// The place of the click, in frames from time zero.
long clickOf(const stage::Sound& sound, std::size_t channel = 0) {
    const Samples& samples = sound.samples.at(channel);
    const auto loudest = std::max_element(samples.begin(), samples.end());
    return std::lround(sound.startTime * 48000) + static_cast<long>(loudest - samples.begin());
}

/// The length of a track in frames, by the file; decoded sound includes the padding of the last packet.
long length(const MovieProbe& probe, std::size_t track = 0) {
    return std::lround(probe.audioTrack(track).duration * 48000);
}

TEST(AudioTests, AClickIsAtItsTimestamp) {
    for (const auto& [firstStamp, clickAt] : std::vector<std::pair<long, std::size_t>>{
             {0, 50}, {12345, 1000}, {300, 40000}, {-5000, 30000}, {-137, 30000}}) {
        SCOPED_TRACE(firstStamp);
        MovieMaker maker({videoSettings(64, 64), audioSettings(2)});
        const auto picture = std::make_shared<TestPicture>(64, 64);
        maker.append(0, frame(start, picture));
        const Samples samples = click(96000, clickAt);
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
        for (long piece = 0; piece < pieces; ++piece)
            maker.append(0,
                         sound(at(stamp(piece)), piece == pieces - 2 ? click(4800, 2400) : Samples(4800), 1));
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
        const Samples heard = probe.sound(number).samples[0];
        const auto isLoud = [](float sample) { return std::abs(sample) >= 0.001F; };
        EXPECT_TRUE(std::none_of(heard.begin() + 8000, heard.end(), isLoud));
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
    EXPECT_NEAR(length(maker.finished()), 100, 1);
}

void expectPlacement(const AudioPlacement& got, const AudioPlacement& wanted) {
    EXPECT_EQ(got.silence, wanted.silence);
    EXPECT_EQ(got.skip, wanted.skip);
    EXPECT_EQ(got.take, wanted.take);
    EXPECT_EQ(got.make, wanted.make);
}

TEST(AudioTimelineTests, StartsGapsAndOverlapsAreExact) {
    const struct {
        std::int64_t stamp, frames;
        AudioPlacement placement;
    } pieces[] = {
        {-1000, 480, {0, 480, 0, 0}}, {-520, 480, {0, 480, 0, 0}},     {-40, 480, {0, 40, 440, 440}},
        {440, 480, {0, 0, 480, 480}}, {1881, 480, {961, 0, 480, 480}}, {861, 4800, {0, 1500, 3300, 3300}},
        {0, 4800, {0, 4800, 0, 0}},   {6173, 512, {512, 0, 512, 512}},  // a cycle lost by the sound server
    };
    AudioTimeline line(start, 48000);
    for (const auto& [stamp, frames, placement] : pieces) {
        SCOPED_TRACE(stamp);
        expectPlacement(line.place(at(stamp), frames), placement);
    }
    EXPECT_EQ(line.padTo(at(9600)), 9600 - 6685);
    EXPECT_EQ(line.padTo(at(100)), 0);
    EXPECT_EQ(line.length(), 9600);
    expectPlacement(AudioTimeline(start, 48000).place(at(7), 480), {7, 0, 480, 480});
}

TEST(AudioTimelineTests, FollowsADriftingClockForAnHour) {
    // Parts per million, and jitter in frames.
    for (const auto& [partsPerMillion, jitter] :
         std::vector<std::pair<double, int>>{{300, 0}, {-300, 0}, {300, 240}, {-300, 240}, {0, 160}}) {
        AudioTimeline line(start, 48000);
        std::mt19937 random(5);
        const double real = 1 + partsPerMillion / 1e6;
        std::int64_t worst = 0;
        std::int64_t cut = 0;
        std::int64_t maxStretch = 0;
        for (std::int64_t frames = 0; frames < std::int64_t{3600} * 48000; frames += 480) {
            const std::int64_t truth = std::llround(static_cast<double>(frames) * real);
            const auto spread = static_cast<std::int64_t>(jitter ? random() % (2U * jitter) : 0);
            worst = std::max(worst, std::abs(line.length() - truth));
            const AudioPlacement placement = line.place(at(truth + spread - jitter), 480);
            if (frames > 0) cut += placement.silence + placement.skip;
            maxStretch = std::max(maxStretch, std::abs(placement.make - placement.take));
        }
        EXPECT_LT(worst, 480) << partsPerMillion << " ppm, jitter of " << jitter << " frames";
        EXPECT_EQ(cut, 0);
        EXPECT_LE(maxStretch, 1);
    }
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
    const Samples floats{0.5F, -0.25F, 0, 1};
    EXPECT_EQ(stereo.convert(buffers(2, {floats})), floats);
    EXPECT_EQ(stereo.convert(buffers(2, {{0.5F, 0}, {-0.25F, 1}})), floats);
    const Samples whole{0.5F, -0.25F, 0, -1};
    EXPECT_EQ(stereo.convert(buffers<std::int16_t>(2, {{16384, -8192, 0, -32768}}, AudioSampleFormat::int16)),
              whole);
    EXPECT_EQ(stereo.convert(buffers<std::int32_t>(
                  2, {{1 << 30, -(1 << 29), 0, std::numeric_limits<int>::min()}}, AudioSampleFormat::int32)),
              whole);
    EXPECT_EQ(stereo.convert(buffers(1, {{0.5F, -1}})), (Samples{0.5F, 0.5F, -1, -1}));
    PcmConverter mono(48000, 1);
    EXPECT_EQ(mono.convert(buffers(2, {floats})), (Samples{0.125F, 0.5F}));
    EXPECT_TRUE(mono.convert(AudioBufferList{std::nullopt, {std::vector<std::byte>(8)}}).empty());
    EXPECT_TRUE(mono.convert(buffers(1, {{1.F, 1.F}}, AudioSampleFormat::other)).empty());
}

TEST(PcmConverterTests, StretchingKeepsTheWave) {
    const Samples wave = tone(480);
    for (const std::size_t make : {479U, 481U}) {
        Samples made;
        appendStretched(wave.data(), 480, make, 1, made);
        ASSERT_EQ(made.size(), make);
        for (std::size_t i = 0; i < make; ++i) {
            const double position = static_cast<double>(i) * 480 / static_cast<double>(make);
            EXPECT_NEAR(made[i], 0.3 * std::sin(2 * std::numbers::pi * 440 * position / 48000), 2e-3) << i;
        }
    }
}

constexpr std::int64_t stretch = ParallelAacEncoder::stretchLength;
const ParallelAacEncoder parallel(48000, 1, 96'000);

/// Encodes `sound` in pieces.
void encode(const Samples& sound, const AacEncoder::Sink& sink) {
    auto given = sound.begin();
    parallel.encode(
        [&] {
            const auto from = given;
            given += std::min<std::ptrdiff_t>(10'000, sound.end() - given);
            return Samples(from, given);
        },
        sink);
}

TEST(ParallelAacEncoderTests, SamplesFollowEachOtherToTheLastFrame) {
    for (const std::int64_t length : {std::int64_t{0}, std::int64_t{1}, std::int64_t{1025}, stretch - 1,
                                      stretch, stretch + 1, stretch + 4096, stretch + 4097, 2 * stretch}) {
        SCOPED_TRACE(length);
        std::int64_t end = -1024;
        encode(Samples(static_cast<std::size_t>(length)), [&](const MovieSample& sample) {
            ASSERT_EQ(sample.time, end);
            end += sample.duration;
        });
        EXPECT_EQ(end, length > 0 ? length : -1024) << "no samples of no sound";
    }
}

double differenceAround(const Samples& a, const Samples& b, std::int64_t place) {
    double sum = 0;
    for (std::int64_t i = place - 1024; i < place + 1024; ++i)
        sum += std::pow(a[static_cast<std::size_t>(i)] - b[static_cast<std::size_t>(i)], 2);
    return std::sqrt(sum / 2048);
}

TEST(ParallelAacEncoderTests, SeamsAreInaudible) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> spread(-0.05F, 0.05F);
    Samples sound(static_cast<std::size_t>(4 * stretch + 60'000));
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
    const TemporaryFolder folder;
    MovieFile file(folder / "a.m4a", AVFileType::appleM4A, RecoveryList(folder / "unfinished"));
    const int track = file.addTrack({parallel.description(), "Sound", 48000, 1024}, 96'000);
    file.begin();
    encode(sound, [&](const MovieSample& sample) { file.write(track, sample); });
    file.finish();
    const Samples heard = MovieProbe(folder / "a.m4a").sound().samples.at(0);
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
    const auto endless = [] { return Samples(100'000); };
    const auto refuse = [&](const MovieSample&) {
        if (++count == 700) throw std::runtime_error("full");
    };
    EXPECT_THROW(parallel.encode(endless, refuse), std::runtime_error);
    EXPECT_EQ(count, 700);
}

}  // namespace
}  // namespace lumicrate::media
