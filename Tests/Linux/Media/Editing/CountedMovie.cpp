#include "Tests/Linux/Media/Editing/CountedMovie.h"

#include "Tests/Linux/Media/MovieMaker.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>

namespace lumicrate::test {

namespace {

constexpr CMTime start{1000, 1};
constexpr int clock = 90000;
constexpr int rate = 48000;
constexpr int bits = 10;
constexpr std::size_t chunk = rate / 20;

std::vector<CountedPicture> pictureTimes(const CountedRecipe& recipe) {
    std::mt19937 random(7);
    std::vector<CountedPicture> pictures;
    const auto end = static_cast<std::int64_t>(recipe.seconds * clock);
    const std::int64_t step = clock / recipe.fps;
    std::int64_t time = 0;
    while (time < end - step && pictures.size() < (1U << bits)) {
        pictures.push_back({static_cast<int>(pictures.size()), time});
        time += step;
        if (random() % 5 == 0) time += random() % static_cast<unsigned>(step);
        if (random() % 50 == 0) time += static_cast<std::int64_t>(random() % (3 * clock));
    }
    return pictures;
}

/// A tone that rises for ever. (Noise would be made up anew by the decoder.)
std::vector<float> tone(std::size_t from, double lowest) {
    std::vector<float> samples(chunk);
    for (std::size_t i = 0; i < chunk; ++i) {
        const double time = static_cast<double>(from + i) / rate;
        const double turns = lowest * time + 40 * time * time;
        samples[i] = 0.3F * static_cast<float>(std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

}  // namespace

TestPicture drawNumber(int number, int width, int height) {
    TestPicture picture(width, height);
    const int side = width / bits;
    for (int bit = 0; bit < bits; ++bit) {
        if ((number >> bit & 1) != 0) picture.fill({bit * side, 0, side, height / 2}, 30, 90, 170);
    }
    picture.print({0, height / 2, width, height / 2}, static_cast<unsigned>(number));
    return picture;
}

std::optional<int> readNumber(const stage::Picture& picture) {
    const int side = picture.width / bits;
    int number = 0;
    for (int bit = 0; bit < bits; ++bit) {
        const int luma = picture.luma().at(bit * side + side / 2, picture.height / 4);
        if (luma > 60 && luma < 205) return std::nullopt;
        if (luma <= 60) number |= 1 << bit;
    }
    return number;
}

CountedMovie CountedMovie::make(const std::filesystem::path& path, const CountedRecipe& recipe) {
    CountedMovie movie{path, recipe.pictures ? pictureTimes(recipe) : std::vector<CountedPicture>{}};
    std::vector<AVOutputSettings> tracks;
    if (recipe.pictures) {
        AVVideoOutputSettings video = videoSettings(recipe.width, recipe.height, recipe.bitRate, recipe.fps);
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
            auto picture =
                std::make_shared<TestPicture>(drawNumber(each.number, recipe.width, recipe.height));
            maker.append(0, frame(start + CMTime(each.time, clock), picture));
        }
        for (std::size_t track = 0; track < recipe.channels.size(); ++track) {
            const std::vector<float> samples = tone(i * chunk, 300.0 + 200.0 * static_cast<double>(track));
            const CMTime time(static_cast<std::int64_t>(i * chunk), rate);
            if (time.seconds() < recipe.soundBegins) continue;
            maker.append(track + (recipe.pictures ? 1 : 0),
                         sound(start + time, samples, recipe.channels[track]));
        }
    }
    const CMTime end = start + CMTime(std::llround(recipe.seconds * clock), clock);
    maker.writer().endSessionAtSourceTime(end);
    if (maker.finish() != AVAssetWriterStatus::completed) throw std::runtime_error("no movie");
    std::filesystem::copy_file(maker.path(), path);
    return movie;
}

}  // namespace lumicrate::test
