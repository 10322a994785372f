// SPDX-License-Identifier: GPL-3.0-or-later
// CountedMovie: a recording in which every picture and every sample of sound identifies its place; and the
// checks that a movie presents exactly a part of another one.
#pragma once

#include "Linux/Media/Input/InputSample.h"
#include "Tests/Linux/Media/MovieMaker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace lumicrate::test {

constexpr int clock = 90000;

/// The nearest tick of 1 ⁄ 90000 s.
inline std::int64_t ticks(double seconds) {
    return std::llround(seconds * clock);
}

struct CountedPicture {
    int number = 0;
    std::int64_t time = 0;  ///< ticks
};

struct CountedRecipe {
    AVVideoCodecType codec = AVVideoCodecType::h264;
    AVFileType type = AVFileType::mpeg4;
    int bitRate = 1'000'000;
    double seconds = 20;
    bool hasPictures = true;
    std::vector<int> channels = {2};  ///< of each sound track
    double soundBegins = 0;           ///< seconds
    std::vector<double> times = {};   ///< of the pictures, in seconds; empty: bursts
    bool input = false;               ///< recorded input as countedInput()
};

/// A position every 0.7 s, that tells its time, a click 0.1 s and shown keys 0.2 s after each.
inline std::vector<RecordedInput> countedInput(double seconds) {
    using Kind = RecordedInput::Kind;
    std::vector<RecordedInput> all;
    for (int number = 0; number * 0.7 < seconds; ++number) {
        const Point position{number / 100.0, 0.25};
        const CMTime time(number * 7, 10);
        all.push_back({Kind::pointer, time, position, 0, ""});
        all.push_back({Kind::press, time + CMTime(1, 10), position, 1 + number % 3, ""});
        all.push_back({Kind::keys, time + CMTime(2, 10), {}, 0, "Ctrl+" + std::to_string(number)});
    }
    std::erase_if(all, [seconds](const RecordedInput& each) { return each.time.seconds() >= seconds; });
    return all;
}

/// Unless the recipe has times, pictures come in bursts of 30 a second, at odd times, and after seconds
/// without any. The sound is a rising tone, of which no two places are alike.
class CountedMovie {
 public:
    CountedMovie(std::filesystem::path file, const CountedRecipe& recipe) : path(std::move(file)) {
        if (recipe.hasPictures)
            pictures = recipe.times.empty() ? burstTimes(recipe.seconds) : counted(recipe.times);
        MovieMaker maker(tracks(recipe), recipe.type);
        write(maker, recipe);
        maker.finished();
        std::filesystem::copy_file(maker.path(), path);
    }

    static std::vector<AVOutputSettings> tracks(const CountedRecipe& recipe) {
        std::vector<AVOutputSettings> tracks;
        if (recipe.hasPictures)
            tracks.emplace_back(videoSettings(width, height, recipe.bitRate, fps, recipe.codec));
        for (const int channels : recipe.channels)
            tracks.emplace_back(audioSettings(channels));
        if (recipe.input) tracks.emplace_back(AVMetadataOutputSettings());
        return tracks;
    }
    /// All its samples, and ends there. `progress` is called with the second that is reached.
    void write(MovieMaker& maker, const CountedRecipe& recipe,
               const std::function<void(double)>& progress = {}) const {
        std::size_t next = 0;
        if (recipe.input) writeInput(maker, recipe);
        for (std::size_t i = 0; i < static_cast<std::size_t>(recipe.seconds * rate) / chunk; ++i) {
            const auto until = static_cast<std::int64_t>((i + 1) * chunk * clock / rate);
            for (; next < pictures.size() && pictures[next].time < until; ++next)
                maker.append(0,
                             frame(start + CMTime(pictures[next].time, clock), draw(pictures[next].number)));
            const CMTime time(static_cast<std::int64_t>(i * chunk), rate);
            if (progress) progress(time.seconds());
            if (time.seconds() < recipe.soundBegins) continue;
            for (std::size_t track = 0; track < recipe.channels.size(); ++track) {
                const auto samples = risingTone(i * chunk, 300.0 + 200.0 * static_cast<double>(track));
                maker.append(track + (recipe.hasPictures ? 1 : 0),
                             sound(start + time, samples, recipe.channels[track]));
            }
        }
        maker.writer().endSessionAtSourceTime(start + CMTime(ticks(recipe.seconds), clock));
    }

    double secondsAt(std::size_t picture) const {
        return static_cast<double>(pictures.at(picture).time) / clock;
    }
    /// The number that a picture shows; -1 when it is unclear.
    static int readNumber(const stage::Picture& picture) {
        int number = 0;
        for (int bit = 0; bit < bits; ++bit) {
            const int luma = picture.luma().at(bit * bitWidth + bitWidth / 2, height / 4);
            if (luma > 60 && luma < 205) return -1;
            if (luma <= 60) number |= 1 << bit;
        }
        return number;
    }

    static constexpr int rate = 48000;  ///< of the sound

    std::filesystem::path path;
    std::vector<CountedPicture> pictures;

 private:
    static constexpr int fps = 30;
    static constexpr int width = 160;
    static constexpr int height = 96;
    static constexpr int bits = 10;
    static constexpr int bitWidth = width / bits;
    static constexpr std::size_t chunk = rate / 20;

    static void writeInput(MovieMaker& maker, const CountedRecipe& recipe) {
        for (const RecordedInput& each : countedInput(recipe.seconds)) {
            CMSampleBuffer sample;
            sample.timing.presentationTimeStamp = start + each.time;
            sample.input = std::make_shared<const RecordedInput>(each);
            maker.append(1 + recipe.channels.size(), sample);
        }
    }
    static std::vector<CountedPicture> counted(const std::vector<double>& times) {
        std::vector<CountedPicture> pictures;
        for (const double time : times)
            pictures.push_back({static_cast<int>(pictures.size()), ticks(time)});
        return pictures;
    }
    static std::vector<CountedPicture> burstTimes(double seconds) {
        std::mt19937 random(7);
        std::vector<CountedPicture> times;
        constexpr std::int64_t step = clock / fps;
        for (std::int64_t time = 0; time < ticks(seconds) - step && times.size() < (1U << bits);) {
            times.push_back({static_cast<int>(times.size()), time});
            time += step;
            if (random() % 5 == 0) time += random() % static_cast<unsigned>(step);
            if (random() % 50 == 0) time += static_cast<std::int64_t>(random() % (3 * clock));
        }
        return times;
    }

    /// The bits of the number above, print below.
    static std::shared_ptr<TestPicture> draw(int number) {
        auto picture = std::make_shared<TestPicture>(width, height);
        for (int bit = 0; bit < bits; ++bit) {
            if ((number >> bit & 1) != 0)
                picture->fill({bit * bitWidth, 0, bitWidth, height / 2}, 30, 90, 170);
        }
        picture->print({0, height / 2, width, height / 2}, static_cast<unsigned>(number));
        return picture;
    }

    /// Not noise, which the decoder would invent anew.
    static std::vector<float> risingTone(std::size_t from, double lowest) {
        std::vector<float> samples(chunk);
        for (std::size_t i = 0; i < chunk; ++i) {
            const double time = static_cast<double>(from + i) / rate;
            const double turns = lowest * time + 40 * time * time;
            samples[i] = 0.3F * static_cast<float>(std::sin(2 * std::numbers::pi * turns));
        }
        return samples;
    }
};

/// The part of `all` from `from` to `to`, in seconds, as it is presented from time zero.
inline std::vector<CountedPicture> part(const std::vector<CountedPicture>& all, double from, double to) {
    std::vector<CountedPicture> pictures;
    for (const CountedPicture& each : all) {
        if (each.time <= ticks(from)) pictures.clear();
        if (each.time < ticks(to))
            pictures.push_back({each.number, std::max<std::int64_t>(each.time - ticks(from), 0)});
    }
    return pictures;
}

inline std::vector<RecordedInput> inputIn(const stage::MovieProbe& movie) {
    std::vector<RecordedInput> all;
    for (const stage::Track& track : movie.tracks()) {
        if (track.codecTag != "mett") continue;
        for (const stage::Packet& packet : movie.packets(track.index)) {
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(packet.bytes.data());
            all.push_back(media::readInputSample({bytes, packet.bytes.size()}).value());
            all.back().time = CMTime(ticks(packet.pts), clock);
        }
    }
    return all;
}

/// The movie has what countedInput() says of that range, to a tick.
inline void expectInput(const std::filesystem::path& path, double seconds, double from, double to) {
    std::vector<RecordedInput> expected;
    for (RecordedInput each : countedInput(seconds)) {
        const double second = each.time.seconds() - from;
        const bool isPosition = each.kind == RecordedInput::Kind::pointer;
        if (second <= 0 && isPosition) expected.clear();
        if (second >= to - from || (second < 0 && !isPosition)) continue;
        each.time = CMTime::fromSeconds(std::max(second, 0.0));
        expected.push_back(each);
    }
    const std::vector<RecordedInput> found = inputIn(stage::MovieProbe(path));
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_NEAR(found[i].time.seconds(), expected[i].time.seconds(), 2.0 / clock) << i;
        expected[i].time = found[i].time;
        EXPECT_EQ(found[i], expected[i]) << i;
    }
}

/// Everything that a file presents.
struct Presented {
    explicit Presented(const std::filesystem::path& path) : probe(path) {
        for (std::size_t i = 0; i < probe.count(stage::Track::Kind::Audio); ++i)
            sounds.push_back(probe.sound(i));
        if (probe.count(stage::Track::Kind::Video) == 0) return;
        probe.visitPictures([this](const stage::Picture& picture) {
            pictures.push_back({CountedMovie::readNumber(picture), ticks(picture.time)});
            return true;
        });
    }

    stage::MovieProbe probe;
    std::vector<CountedPicture> pictures;
    std::vector<stage::Sound> sounds;
};

/// Times may differ by `slack` ticks, for movies with another clock.
inline void expectSamePictures(const std::vector<CountedPicture>& expected,
                               const std::vector<CountedPicture>& found, std::int64_t slack = 0) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(found[i].number, expected[i].number) << "picture " << i;
        ASSERT_LE(std::abs(found[i].time - expected[i].time), slack) << "picture " << i;
    }
}

/// The same samples as the original has from `from` on. The last packet is decoded whole.
inline void expectSameSound(const stage::Sound& original, const stage::Sound& cut, double from, double to) {
    constexpr int rate = CountedMovie::rate;
    EXPECT_NEAR(cut.startTime, std::max(original.startTime - from, 0.0), 0.5 / rate);
    const auto begin =
        static_cast<std::size_t>(std::llround((cut.startTime + from - original.startTime) * rate));
    const auto length = static_cast<std::size_t>(std::llround((to - from - cut.startTime) * rate));
    ASSERT_GE(cut.samples[0].size() + 1, std::min(length, original.samples[0].size() - begin));
    EXPECT_EQ(cut.discontinuities, 0);
    for (std::size_t channel = 0; channel < cut.samples.size(); ++channel) {
        float worst = 0;
        for (std::size_t i = 0; i + 1 < length && begin + i < original.samples[channel].size(); ++i)
            worst = std::max(worst, std::abs(cut.samples[channel][i] - original.samples[channel][begin + i]));
        EXPECT_LT(worst, 1e-4) << "in channel " << channel;
    }
}

/// `cut` presents what `original` presents from `from` to `to`, in pictures, samples and durations, and
/// nothing else.
inline void expectPart(const Presented& original, const std::filesystem::path& cut, double from, double to,
                       std::int64_t slack = 0) {
    const Presented found(cut);
    expectSamePictures(part(original.pictures, from, to), found.pictures, slack);
    EXPECT_NEAR(found.probe.duration(), to - from, 0.001);
    for (const stage::Track& each : found.probe.tracks())
        EXPECT_NEAR(each.startTime + each.duration, to - from, 0.001) << each.codec;
    ASSERT_EQ(found.sounds.size(), original.sounds.size());
    for (std::size_t track = 0; track < found.sounds.size(); ++track)
        expectSameSound(original.sounds[track], found.sounds[track], from, to);
}

}  // namespace lumicrate::test
