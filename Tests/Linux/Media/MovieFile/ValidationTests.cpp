// SPDX-License-Identifier: GPL-3.0-or-later
// The files that the asset writer makes, judged by the rules of their format and by the programs that people
// open them with.

#include "Tests/Linux/Media/CountedMovie.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>

#include <ctime>

namespace lumicrate::media {
namespace {

using test::CountedMovie;
using testing::ElementsAre;
using testing::IsEmpty;

struct Case {
    const char* name;
    test::CountedRecipe recipe;
};

void PrintTo(const Case& each, std::ostream* stream) {
    *stream << each.name;
}

class ValidationTests : public testing::TestWithParam<Case> {
 protected:
    void expectFormat() const {
        EXPECT_THAT(boxes.faults, IsEmpty());
        EXPECT_THAT(boxes.boxes, ElementsAre("ftyp", "free", "free", "moov", "free", "mdat"));
        EXPECT_TRUE(boxes.indexInFront());
        EXPECT_NEAR(static_cast<double>(boxes.created), static_cast<double>(std::time(nullptr)), 60);
        ASSERT_EQ(boxes.tracks.size(), recipe.channels.size() + firstSound);
        if (!recipe.hasPictures) return;
        const stage::MovieTrack& track = boxes.tracks.front();
        ASSERT_EQ(track.samples.size(), movie.pictures.size());
        for (std::size_t i = 0; i < movie.pictures.size(); ++i)
            EXPECT_NEAR(track.samples[i].time, movie.secondsAt(i), 1.0 / track.timescale) << i;
    }
    void expectSound() const {
        for (std::size_t i = firstSound; i < boxes.tracks.size(); ++i) {
            EXPECT_NEAR(boxes.tracks[i].presentedDuration, recipe.seconds, 0.001);
            const stage::Sound heard = stage::MovieProbe(movie.path).sound(i - firstSound);
            const auto onset = stage::onset(heard.samples.at(0), 0.05F);
            ASSERT_TRUE(onset);
            EXPECT_NEAR(heard.timeAt(*onset), recipe.soundBegins, 0.005);
        }
    }

    const test::CountedRecipe& recipe = GetParam().recipe;
    const std::size_t firstSound = recipe.hasPictures ? 1 : 0;
    test::TemporaryFolder folder;
    CountedMovie movie = makeCountedMovie(folder / "movie", recipe);
    stage::MovieBoxes boxes = stage::readMovieBoxes(movie.path);
};

TEST_P(ValidationTests, TheFileIsValid) {
    expectFormat();
    expectSound();
    EXPECT_THAT(stage::complaintsAbout(movie.path), IsEmpty());
}

test::CountedRecipe recipe(AVFileType type, AVVideoCodecType codec, std::vector<int> channels,
                           double soundBegins = 0) {
    return {codec, type, 1'000'000, 3, type != AVFileType::appleM4A, std::move(channels), soundBegins};
}

INSTANTIATE_TEST_SUITE_P(
    Recipes, ValidationTests,
    testing::Values(
        Case{"mp4", recipe(AVFileType::mpeg4, AVVideoCodecType::h264, {})},
        Case{"mp4_with_late_sound", recipe(AVFileType::mpeg4, AVVideoCodecType::h264, {2, 1}, 0.7)},
        Case{"hevc_mp4", recipe(AVFileType::mpeg4, AVVideoCodecType::hevc, {2})},
        Case{"m4a_with_two_tracks", recipe(AVFileType::appleM4A, AVVideoCodecType::h264, {2, 1})},
        Case{"mov_with_late_sound", recipe(AVFileType::quickTimeMovie, AVVideoCodecType::h264, {1}, 0.7)},
        Case{"hevc_mov_with_two_tracks", recipe(AVFileType::quickTimeMovie, AVVideoCodecType::hevc, {2, 1})}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace lumicrate::media
