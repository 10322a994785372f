// SPDX-License-Identifier: GPL-3.0-or-later
// A voice without its noise: the filter, its loudness, and the tracks of the movie.
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Sound/VoiceCleaner.h"
#include "Linux/Media/Sound/VoiceLevel.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Linux/Media/Voice.h"
#include "Tests/Stage/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;
using stage::Track;
using testing::ElementsAre;

Samples cleaned(const Samples& sound, std::size_t channels = 1, std::size_t piece = 8192) {
    VoiceCleaner cleaner(channels);
    Samples result;
    for (std::size_t at = 0; at < sound.size(); at += piece)
        cleaner.process(std::span(sound).subspan(at, std::min(piece, sound.size() - at)), result);
    cleaner.finish(result);
    return result;
}

TEST(VoiceCleanerTests, NoiseIsReducedAndTheVoiceStaysInItsPlace) {
    const Samples voice = syntheticVoice(12);
    const struct {
        Noise noise;
        double reduction;  ///< of the noise in pauses, dB
    } cases[] = {{Noise::hiss, 8}, {Noise::rumble, 8}, {Noise::hum, 15}};
    for (const auto& [kind, reduction] : cases) {
        SCOPED_TRACE(static_cast<int>(kind));
        const Samples noise = syntheticNoise(kind, voice.size(), 0.1 * levelInSpeech(voice));
        const Samples noisy = sum(voice, noise);
        const Samples clean = cleaned(noisy);
        ASSERT_EQ(clean.size(), noisy.size());
        EXPECT_LT(decibels(levelInPauses(clean) / levelInPauses(noisy)), -reduction);
        EXPECT_EQ(delayOf(clean, noisy), 0);
        EXPECT_GT(signalToNoise(voice, clean), 18) << "20 with the noise";
    }
    EXPECT_GT(signalToNoise(voice, cleaned(voice)), 20) << "a clean voice is not harmed";
}

TEST(VoiceCleanerTests, PiecesOfAnySizeGiveTheSameSoundAndSilenceStaysSilence) {
    const Samples voice = sum(syntheticVoice(3), syntheticNoise(Noise::hiss, 3 * 48000, 0.01));
    const Samples whole = cleaned(voice, 1, voice.size());
    for (const std::size_t piece : {959U, 50000U})
        EXPECT_EQ(cleaned(voice, 1, piece), whole);
    Samples stereo;
    for (const float sample : voice)
        stereo.insert(stereo.end(), {sample, 0});
    const Samples both = cleaned(stereo, 2);
    for (std::size_t i = 0; i < voice.size(); ++i) {
        ASSERT_EQ(both[2 * i], whole[i]);
        ASSERT_EQ(both[2 * i + 1], 0);
    }
    for (const std::size_t frames : {0U, 1U, 959U, 960U, 961U, 95999U, 96001U})
        EXPECT_EQ(cleaned(Samples(frames)), Samples(frames));
}

TEST(VoiceLevelTests, SilenceAndShortSoundsHaveNoLoudness) {
    const auto loudness = [](const Samples& sound) {
        LoudnessMeter meter(1);
        meter.add(sound);
        return meter.loudness();
    };
    // A sine of full scale in one channel: −3.01 dB, and 0.69 less by the definition of its filter.
    Samples sine(5 * 48000);
    for (std::size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(std::sin(2 * std::numbers::pi * 997 * static_cast<double>(i) / 48000));
    EXPECT_NEAR(loudness(sine).value(), -3.01, 0.1);
    EXPECT_FALSE(loudness(Samples(sine.begin(), sine.begin() + 40000)));
    EXPECT_FALSE(loudness(Samples(sine.size())));
    EXPECT_FALSE(loudness(Samples(sine.size(), 0.001F)));
}

/// The names of the sound tracks, in file order.
std::vector<std::string> soundNames(const std::filesystem::path& movie) {
    std::vector<std::string> names;
    const MovieProbe probe(movie);
    for (const Track& track : probe.tracks()) {
        if (track.kind == Track::Kind::Audio) names.push_back(track.handler);
    }
    return names;
}

class CleanedMovieTests : public testing::Test {
 protected:
    /// A recording with a noisy microphone and, if there are pictures, system audio before it.
    static std::unique_ptr<MovieMaker> recording(AVFileType type, bool pictures) {
        std::vector<AVOutputSettings> tracks;
        if (pictures) tracks = {AVOutputSettings(videoSettings(64, 64)), AVOutputSettings(audioSettings(2))};
        tracks.emplace_back(audioSettings(1));
        auto maker = std::make_unique<MovieMaker>(tracks, type);
        const Samples voice = syntheticVoice(8, 0.1);
        const Samples noisy =
            sum(voice, syntheticNoise(Noise::rumble, voice.size(), 0.1 * levelInSpeech(voice)));
        if (pictures) {
            for (const int number : {0, 1, 2, 40, 200})
                maker->append(0, frame(start + CMTime(number, 30), std::make_shared<TestPicture>(64, 64)));
            maker->append(1, sound(start, syntheticNoise(Noise::hiss, voice.size(), 0.05), 2));
        }
        for (std::size_t at = 0; at < noisy.size(); at += 48000)
            maker->append(tracks.size() - 1, sound(start + CMTime(static_cast<std::int64_t>(at), 48000),
                                                   Samples(noisy.begin() + std::ptrdiff_t(at),
                                                           noisy.begin() + std::ptrdiff_t(at) + 48000),
                                                   1));
        maker->writer().endSessionAtSourceTime(start + CMTime(8 * 48000 - 700, 48000));
        EXPECT_EQ(maker->finish(), AVAssetWriterStatus::completed);
        return maker;
    }
    static std::vector<std::string> packets(const std::filesystem::path& movie, int track) {
        std::vector<std::string> bytes;
        for (const stage::Packet& packet : MovieProbe(movie).packets(track))
            bytes.emplace_back(packet.bytes.begin(), packet.bytes.end());
        return bytes;
    }

    TemporaryFolder folder;
    std::filesystem::path clean = folder / "clean";
    const Assets assets;
};

TEST_F(CleanedMovieTests, TheOriginalStaysBehindTheCleanTrackUntilTheyAreMixed) {
    using Type = AVFileType;
    for (const Type type : {Type::mpeg4, Type::quickTimeMovie, Type::appleM4A}) {
        SCOPED_TRACE(static_cast<int>(type));
        const bool pictures = type != Type::appleM4A;
        const bool normalizes = type != Type::mpeg4;
        const auto source = recording(type, pictures);
        EXPECT_EQ(assets.voice(source->path()), AVVoice::asRecorded);
        assets.cleanVoice(source->path(), clean, type, normalizes, {});
        EXPECT_EQ(assets.voice(clean), AVVoice::clean);
        std::vector<std::string> names{"Microphone (Clean)", "Microphone (Original)"};
        if (pictures) names.insert(names.begin(), "System audio");
        EXPECT_EQ(soundNames(clean), names);

        const int microphone = pictures ? 2 : 0;
        for (int track = 0; track < microphone; ++track)
            EXPECT_EQ(packets(clean, track), packets(source->path(), track)) << track;
        EXPECT_EQ(packets(clean, microphone + 1), packets(source->path(), microphone));
        const std::size_t number = pictures ? 1 : 0;
        const Samples before = MovieProbe(clean).sound(number + 1).samples[0];
        const Samples after = MovieProbe(clean).sound(number).samples[0];
        EXPECT_EQ(after.size(), before.size());
        EXPECT_EQ(delayOf(after, before), 0);
        const double gain = levelInSpeech(after) / levelInSpeech(before);
        EXPECT_LT(decibels(levelInPauses(after) / levelInPauses(before) / gain), -8);
        LoudnessMeter meter(1);
        meter.add(after);
        EXPECT_EQ(std::abs(meter.loudness().value() - VoiceLevel::target) < 0.3, normalizes);
        EXPECT_THROW(assets.cleanVoice(clean, folder / "again", type, false, {}), PlatformError);

        assets.mixAudio(clean, folder / "mixed", type, {});
        EXPECT_THAT(soundNames(folder / "mixed"),
                    ElementsAre(pictures ? "Audio (Clean)" : "Microphone (Clean)"));
        EXPECT_EQ(assets.voice(folder / "mixed"), AVVoice::clean);
        EXPECT_EQ(packets(folder / "mixed", 0), packets(clean, 0)) << "not encoded again";
        assets.exportMovie(clean, folder / "cut", type, AVAssetExportPreset::passthrough,
                           CMTimeRange{CMTime(1, 1), CMTime(5, 1)}, {});
        EXPECT_EQ(soundNames(folder / "cut"), names);
        for (const char* name : {"clean", "mixed", "cut"})
            std::filesystem::remove(folder / name);
    }
}

TEST_F(CleanedMovieTests, TheOnlySoundOfAnotherProgramIsAVoice) {
    const struct {
        std::string what, inputs;
        AVVoice voice;
    } cases[] = {{"one", "-map 0", AVVoice::asRecorded},
                 {"two", "-map 0 -map 0", AVVoice::none},
                 {"system audio", "-map 0 -metadata:s:0 handler_name='System audio'", AVVoice::none}};
    for (const auto& [what, inputs, voice] : cases) {
        SCOPED_TRACE(what);
        const auto movie = folder / (what + ".mp4");
        stage::runProgram(
            {"sh", "-c",
             "ffmpeg -v error -f lavfi -i 'sine=d=2,aformat=channel_layouts=stereo' -ar 44100 " + inputs +
                 " '" + movie.string() + "'"});
        EXPECT_EQ(assets.voice(movie), voice);
        if (voice != AVVoice::asRecorded) continue;
        assets.cleanVoice(movie, clean, AVFileType::mpeg4, false, {});
        EXPECT_EQ(MovieProbe(clean).audioTrack().channels, 2);
    }
}

}  // namespace
}  // namespace lumicrate::media
