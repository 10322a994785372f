// SPDX-License-Identifier: GPL-3.0-or-later
// MpvPlayer with the real libmpv: which picture it shows after seeking, stepping and while playing, in
// recordings whose pictures identify themselves.
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Player/MpvPlayer.h"
#include "Tests/Linux/LoopExecutor.h"
#include "Tests/Linux/Media/CountedMovie.h"

#include <gmock/gmock.h>

#include <map>

namespace lumicrate::test {
namespace {

using testing::Each;
using testing::Le;
using Seek = AVPlayer::Seek;

std::vector<double> dense(double seconds) {
    std::vector<double> times;
    for (int i = 0; i < seconds * 30; ++i)
        times.push_back(i / 30.0);
    return times;
}

/// A recording, or the part of it from `cutAt` on as a fast cut saves it.
struct Sample {
    const char* name;
    CountedRecipe recipe;
    double cutAt = 0;
};

const Sample samples[] = {
    {"Typing", {.seconds = 10}},
    {"Still", {.seconds = 62, .channels = {1}, .times = {0, 60}}},
    {"Scrolling", {.seconds = 10, .times = dense(10)}},
    {"Hevc", {.codec = AVVideoCodecType::hevc, .seconds = 10, .channels = {}}},
    {"FastCut", {.seconds = 12}, 3.37},
};

struct Movie {
    explicit Movie(const Sample& sample) : duration(sample.recipe.seconds - sample.cutAt) {
        const CountedMovie whole(path, sample.recipe);
        pictures = whole.pictures;
        if (sample.cutAt > 0) cut(sample);
        times = media::Assets().pictureTimes(path);
    }
    void cut(const Sample& sample) {
        const double end = sample.recipe.seconds;
        const CMTimeRange range{{ticks(sample.cutAt), test::clock}, {ticks(end), test::clock}};
        const auto result = folder / "cut.mp4";
        media::Assets().exportMovie(path, result, AVFileType::mpeg4, AVAssetExportPreset::passthrough, range,
                                    {});
        path = result;
        pictures = part(pictures, sample.cutAt, end);
    }

    TemporaryFolder folder;
    std::filesystem::path path = folder / "movie.mp4";
    std::vector<CountedPicture> pictures;
    std::vector<CMTime> times;
    double duration;
};

class PlayerTest : public testing::Test {
 protected:
    void open(const Sample& sample) {
        static std::map<std::string, Movie> movies;
        movie = &movies.try_emplace(sample.name, sample).first->second;
        player.emplace(executor, movie->path);
        player->setMuted(true);
        player->setPictureSize(160, 96);
        player->setPictureTimes(movie->times);
        ASSERT_TRUE(executor.await([&] { return shown() == movie->pictures[0].number; }));
    }
    const AVPlayer::State& state() const { return *player->state; }
    /// The number on the current picture; -1 when there is none.
    int shown() const {
        const RenderedPicture picture = player->picture();
        if (!picture.pixels) return -1;
        stage::Picture seen;
        // Green is as bright as luma, in these colours.
        seen.planes[0] = {picture.pixels.get() + 1, static_cast<int>(picture.bytesPerRow), picture.width,
                          picture.height, 4};
        return CountedMovie::readNumber(seen);
    }
    static CMTime at(double seconds) { return {ticks(seconds), test::clock}; }
    int expectedAt(CMTime time) const {
        const auto next = std::find_if(
            movie->pictures.begin(), movie->pictures.end(),
            [time](const CountedPicture& each) { return CMTime(each.time, test::clock) > time; });
        return std::prev(next)->number;
    }
    void awaitSeek() {
        ASSERT_TRUE(executor.await([&] { return !state().isSeeking; }));
    }
    void expectAfterSeekTo(CMTime time) {
        player->seek(time, Seek::exact);
        awaitSeek();
        EXPECT_EQ(shown(), expectedAt(time)) << "at " << time.seconds() << " s";
        EXPECT_EQ(state().time, time.seconds());
    }
    void playTo(double seconds) {
        ASSERT_TRUE(executor.await([&] { return state().time >= seconds && !state().isSeeking; })) << seconds;
    }

    LoopExecutor executor;
    const Movie* movie = nullptr;
    std::optional<player::MpvPlayer> player;
};

class SeekTests : public PlayerTest, public testing::WithParamInterface<Sample> {};

TEST_P(SeekTests, ShowsTheLatestPictureNotAfterThePosition) {
    ASSERT_NO_FATAL_FAILURE(open(GetParam()));
    std::mt19937 random(11);
    std::uniform_real_distribution<double> places(0, movie->duration);
    for (int i = 0; i < 40; ++i)
        expectAfterSeekTo(at(places(random)));
}

TEST_P(SeekTests, StepsThroughThePictures) {
    ASSERT_NO_FATAL_FAILURE(open(GetParam()));
    const std::size_t count = std::min<std::size_t>(movie->pictures.size(), 40);
    for (std::size_t i = 0; i < 2 * count; ++i)
        expectAfterSeekTo({movie->pictures[i < count ? i : 2 * count - 1 - i].time, test::clock});
}

INSTANTIATE_TEST_SUITE_P(Samples, SeekTests, testing::ValuesIn(samples),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(PlayerTest, PlaysAStillPictureUntilTheNextBegins) {
    ASSERT_NO_FATAL_FAILURE(open(samples[1]));
    std::vector<int> early;
    const Subscription watching = player->observePictures([&] {
        if (state().time < 59.9) early.push_back(shown());
    });
    player->seek(at(30), Seek::exact);
    player->play();
    playTo(30.5);
    player->setPictureSize(0, 0);
    playTo(31);
    player->setPictureSize(160, 96);
    player->seek(at(59.5), Seek::exact);
    playTo(60.2);
    EXPECT_TRUE(executor.await([&] { return shown() == 1; }));
    EXPECT_LT(state().time, 60.5);
    EXPECT_THAT(early, Each(0));
    EXPECT_TRUE(state().isPlaying);
    player->pause();
    awaitSeek();
    EXPECT_GE(state().time, 60.2);
    EXPECT_EQ(shown(), 1);
}

TEST_F(PlayerTest, StopsAtTheEndAndGoesOnFromThere) {
    for (const Sample& each : samples) {
        SCOPED_TRACE(each.name);
        ASSERT_NO_FATAL_FAILURE(open(each));
        player->seek(at(movie->duration - 0.3), Seek::exact);
        player->play();
        ASSERT_TRUE(executor.await([&] { return state().isAtEnd; }));
        EXPECT_FALSE(state().isPlaying);
        EXPECT_TRUE(executor.await([&] { return shown() == movie->pictures.back().number; }));
        EXPECT_NEAR(state().time, movie->duration, 0.05);
        expectAfterSeekTo({std::prev(movie->pictures.end(), 2)->time, test::clock});
        EXPECT_FALSE(state().isAtEnd);
        player->seek(at(movie->duration), Seek::exact);
        player->play();
        player->pause();
        expectAfterSeekTo(at(0));
    }
}

TEST_F(PlayerTest, RepeatsTheRange) {
    ASSERT_NO_FATAL_FAILURE(open(samples[0]));
    player->setPlaybackRange(CMTimeRange{at(2), at(2.4)});
    std::vector<double> times;
    const Subscription watching = player->state.observe([&](const AVPlayer::State& now) {
        if (!now.isSeeking) times.push_back(now.time);
    });
    player->play();
    const auto repeats = [&] { return std::is_sorted_until(times.begin(), times.end()) != times.end(); };
    ASSERT_TRUE(executor.await(repeats));
    EXPECT_TRUE(state().isPlaying);
    EXPECT_THAT(times, Each(Le(2.5)));
    player->setPlaybackRange(std::nullopt);
    playTo(2.8);
}

TEST_F(PlayerTest, EndsAtTheNewestOfSeveralSeeks) {
    ASSERT_NO_FATAL_FAILURE(open(samples[0]));
    std::mt19937 random(12);
    std::uniform_real_distribution<double> places(0, movie->duration);
    for (int i = 0; i < 10; ++i) {
        for (int each = 0; each < 10; ++each)
            player->seek(at(places(random)), each % 2 == 0 ? Seek::coarse : Seek::exact);
        expectAfterSeekTo(at(places(random)));
    }
}

}  // namespace
}  // namespace lumicrate::test
