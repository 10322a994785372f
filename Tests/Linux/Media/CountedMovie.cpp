// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/Media/CountedMovie.h"

#include "Tests/Linux/Media/MovieMaker.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>

namespace lumicrate::test {

namespace {

constexpr CMTime start{1000, 1};
constexpr int rate = 48000;
constexpr int fps = 30;
constexpr int width = 160;
constexpr int height = 96;
constexpr int bits = 10;
constexpr int bitWidth = width / bits;
constexpr std::size_t chunk = rate / 20;

std::vector<CountedPicture> pictureTimes(double seconds) {
    std::mt19937 random(7);
    std::vector<CountedPicture> pictures;
    constexpr std::int64_t step = clock / fps;
    for (std::int64_t time = 0; time < ticks(seconds) - step && pictures.size() < (1U << bits);) {
        pictures.push_back({static_cast<int>(pictures.size()), time});
        time += step;
        if (random() % 5 == 0) time += random() % static_cast<unsigned>(step);
        if (random() % 50 == 0) time += static_cast<std::int64_t>(random() % (3 * clock));
    }
    return pictures;
}

/// The bits of the number above, print below.
std::shared_ptr<TestPicture> draw(int number) {
    auto picture = std::make_shared<TestPicture>(width, height);
    for (int bit = 0; bit < bits; ++bit) {
        if ((number >> bit & 1) != 0) picture->fill({bit * bitWidth, 0, bitWidth, height / 2}, 30, 90, 170);
    }
    picture->print({0, height / 2, width, height / 2}, static_cast<unsigned>(number));
    return picture;
}

/// Not noise, which the decoder would invent anew.
std::vector<float> risingTone(std::size_t from, double lowest) {
    std::vector<float> samples(chunk);
    for (std::size_t i = 0; i < chunk; ++i) {
        const double time = static_cast<double>(from + i) / rate;
        const double turns = lowest * time + 40 * time * time;
        samples[i] = 0.3F * static_cast<float>(std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

/// The same samples as the original has from `from` on. The last packet is decoded whole.
void expectSameSound(const stage::Sound& original, const stage::Sound& cut, double from, double to) {
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

/// The number that a picture shows; -1 when it is unclear.
int readNumber(const stage::Picture& picture) {
    int number = 0;
    for (int bit = 0; bit < bits; ++bit) {
        const int luma = picture.luma().at(bit * bitWidth + bitWidth / 2, height / 4);
        if (luma > 60 && luma < 205) return -1;
        if (luma <= 60) number |= 1 << bit;
    }
    return number;
}

}  // namespace

std::int64_t ticks(double seconds) {
    return std::llround(seconds * clock);
}

CountedMovie makeCountedMovie(const std::filesystem::path& path, const CountedRecipe& recipe) {
    CountedMovie movie{path, {}};
    std::vector<AVOutputSettings> tracks;
    if (recipe.hasPictures) {
        movie.pictures = pictureTimes(recipe.seconds);
        AVVideoOutputSettings video = videoSettings(width, height, recipe.bitRate, fps);
        video.codec = recipe.codec;
        tracks.emplace_back(video);
    }
    for (const int channels : recipe.channels)
        tracks.emplace_back(audioSettings(channels));
    MovieMaker maker(tracks, recipe.type);
    std::size_t next = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(recipe.seconds * rate) / chunk; ++i) {
        const auto until = static_cast<std::int64_t>((i + 1) * chunk * clock / rate);
        for (; next < movie.pictures.size() && movie.pictures[next].time < until; ++next) {
            const CountedPicture& each = movie.pictures[next];
            maker.append(0, frame(start + CMTime(each.time, clock), draw(each.number)));
        }
        const CMTime time(static_cast<std::int64_t>(i * chunk), rate);
        if (time.seconds() < recipe.soundBegins) continue;
        for (std::size_t track = 0; track < recipe.channels.size(); ++track) {
            const auto samples = risingTone(i * chunk, 300.0 + 200.0 * static_cast<double>(track));
            maker.append(track + (recipe.hasPictures ? 1 : 0),
                         sound(start + time, samples, recipe.channels[track]));
        }
    }
    maker.writer().endSessionAtSourceTime(start + CMTime(ticks(recipe.seconds), clock));
    if (maker.finish() != AVAssetWriterStatus::completed) throw std::runtime_error("no movie");
    std::filesystem::copy_file(maker.path(), path);
    return movie;
}

std::vector<CountedPicture> part(const std::vector<CountedPicture>& all, double from, double to) {
    std::vector<CountedPicture> pictures;
    for (const CountedPicture& each : all) {
        if (each.time <= ticks(from)) pictures.clear();
        if (each.time < ticks(to))
            pictures.push_back({each.number, std::max<std::int64_t>(each.time - ticks(from), 0)});
    }
    return pictures;
}

Presented::Presented(const std::filesystem::path& path) : probe(path) {
    for (const stage::Track& each : probe.tracks()) {
        if (each.kind == stage::Track::Kind::Audio) sounds.push_back(probe.sound(sounds.size()));
    }
    if (probe.count(stage::Track::Kind::Video) == 0) return;
    probe.visitPictures([this](const stage::Picture& picture) {
        pictures.push_back({readNumber(picture), ticks(picture.time)});
        return true;
    });
}

void expectSamePictures(const std::vector<CountedPicture>& expected, const std::vector<CountedPicture>& found,
                        std::int64_t slack) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(found[i].number, expected[i].number) << "picture " << i;
        ASSERT_LE(std::abs(found[i].time - expected[i].time), slack) << "picture " << i;
    }
}

void expectPart(const Presented& original, const std::filesystem::path& cut, double from, double to,
                std::int64_t slack) {
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
