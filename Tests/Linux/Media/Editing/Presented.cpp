#include "Tests/Linux/Media/Editing/Presented.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumicrate::test {

namespace {

constexpr int rate = 48000;

}  // namespace

bool isThorough() {
    return std::getenv("LUMICRATE_THOROUGH") != nullptr;
}

std::int64_t ticks(double seconds) {
    return std::llround(seconds * clock);
}

std::vector<CountedPicture> shown(const std::filesystem::path& path) {
    std::vector<CountedPicture> pictures;
    stage::MovieProbe(path).visitPictures([&](const stage::Picture& picture) {
        pictures.push_back({test::readNumber(picture).value_or(-1), ticks(picture.time)});
        return true;
    });
    return pictures;
}

std::vector<CountedPicture> part(const std::vector<CountedPicture>& all, std::int64_t from, std::int64_t to) {
    std::vector<CountedPicture> pictures;
    for (const CountedPicture& each : all) {
        if (each.time <= from) pictures.clear();
        if (each.time < to) pictures.push_back({each.number, std::max<std::int64_t>(each.time - from, 0)});
    }
    return pictures;
}

void expectSamePictures(const std::vector<CountedPicture>& expected, const std::vector<CountedPicture>& found,
                        std::int64_t slack) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(found[i].number, expected[i].number) << "picture " << i;
        ASSERT_LE(std::abs(found[i].time - expected[i].time), slack) << "picture " << i;
    }
}

Presented::Presented(const std::filesystem::path& path) : probe(path) {
    for (const stage::Track& each : probe.tracks()) {
        if (each.kind == stage::Track::Kind::Video) pictures = shown(path);
        if (each.kind == stage::Track::Kind::Audio) sounds.push_back(probe.sound(sounds.size()));
    }
}

void expectSameSound(const stage::Sound& original, const stage::Sound& cut, double from, double to) {
    const double first = std::max(original.startTime - from, 0.0);
    EXPECT_NEAR(cut.startTime, first, 0.5 / rate);
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

void expectDurations(const stage::MovieProbe& probe, double duration) {
    EXPECT_NEAR(probe.duration(), duration, 0.001);
    for (const stage::Track& each : probe.tracks())
        EXPECT_NEAR(each.startTime + each.duration, duration, 0.001) << each.codec;
}

void expectPart(const Presented& original, const std::filesystem::path& cut, double from, double to,
                std::int64_t slack) {
    const Presented found(cut);
    expectSamePictures(part(original.pictures, ticks(from), ticks(to)), found.pictures, slack);
    expectDurations(found.probe, to - from);
    ASSERT_EQ(found.sounds.size(), original.sounds.size());
    for (std::size_t track = 0; track < found.sounds.size(); ++track)
        expectSameSound(original.sounds[track], found.sounds[track], from, to);
}

std::filesystem::path TrimFixture::cut(const std::filesystem::path& source, double from, double to,
                                       AVAssetExportPreset preset, AVFileType type) {
    const std::filesystem::path path = folder / ("cut" + std::to_string(++count_));
    media::Assets().exportMovie(source, path, type, preset, range(from, to), {});
    return path;
}

}  // namespace lumicrate::test
