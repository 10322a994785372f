// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Replay/ReplayBuffer.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/CountedMovie.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>

#include <future>

namespace lumicrate::media {
namespace {

using namespace test;
using testing::IsEmpty;

constexpr double captured = 9;  ///< seconds

/// Has captured a counted movie.
class Replay {
 public:
    Replay(const CountedMovie& movie, const CountedRecipe& recipe, const AVReplayBuffer::Limits& limits)
        : buffer(limits, RecoveryList(folder_ / "unfinished")),
          maker_(buffer.makeWriter(recipe.type), CountedMovie::tracks(recipe)) {
        movie.write(maker_, recipe);
        maker_.writer().extendSession(start + CMTime(static_cast<std::int64_t>(captured), 1));
        maker_.finish();
    }

    /// The reason why it was not saved; empty if it was.
    std::string save(const std::filesystem::path& file) {
        std::promise<std::string> done;
        buffer.save(file, [&done](const std::exception_ptr& error) {
            done.set_value(error ? localizedDescription(error) : "");
        });
        return done.get_future().get();
    }

 private:
    TemporaryFolder folder_;

 public:
    ReplayBuffer buffer;

 private:
    MovieMaker maker_;
};

TEST(ReplayBufferTests, SavesExactlyTheLastSeconds) {
    const CountedRecipe h264{.seconds = captured};
    const CountedRecipe hevc{
        AVVideoCodecType::hevc, AVFileType::quickTimeMovie, 1'000'000, captured, true, {2, 1}, 0, {}, true};
    const struct {
        const char* name;
        CountedRecipe recipe;
        AVReplayBuffer::Limits limits;
        double atLeast, atMost;  ///< seconds
    } cases[] = {
        {"H.264", h264, {4, 1 << 30}, 4, 6.5},
        {"HEVC, two tracks of sound", hevc, {3, 1 << 30}, 3, 6},
        {"all of it", h264, {60, 1 << 30}, captured, captured},
        {"limited by bytes", h264, {60, 300'000}, 1, 8},
    };
    for (const auto& [name, recipe, limits, atLeast, atMost] : cases) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder;
        const CountedMovie movie(folder / "all", recipe);
        Replay replay(movie, recipe, limits);
        const auto [seconds, bytes] = replay.buffer.contents();
        EXPECT_GE(seconds, atLeast);
        EXPECT_LE(seconds, atMost);
        EXPECT_LE(bytes, limits.bytes);
        ASSERT_EQ(replay.save(folder / "saved"), "");
        expectPart(Presented(movie.path), folder / "saved", captured - seconds, captured);
        if (recipe.input) expectInput(folder / "saved", captured, captured - seconds, captured);
        EXPECT_THAT(stage::readMovieBoxes(folder / "saved").faults, IsEmpty());
        EXPECT_THAT(stage::complaintsAbout(folder / "saved"), IsEmpty());
    }
}

TEST(ReplayBufferTests, ContinuesIntoAFile) {
    for (const double soundBegins : {0.0, 8.5}) {
        SCOPED_TRACE(soundBegins);
        const TemporaryFolder folder;
        CountedRecipe recipe{.seconds = captured};
        recipe.soundBegins = soundBegins;
        recipe.input = true;
        const CountedMovie movie(folder / "all", recipe);
        ReplayBuffer buffer({1, 1 << 30}, RecoveryList(folder / "unfinished"));
        MovieMaker maker(buffer.makeWriter(recipe.type), CountedMovie::tracks(recipe));
        movie.write(maker, recipe, [&](double second) {
            if (second == 8) buffer.continueInto(folder / "recording");
        });
        ASSERT_EQ(maker.finish(), AVAssetWriterStatus::completed);
        const int first = Presented(folder / "recording").pictures.at(0).number;
        const double from = movie.secondsAt(static_cast<std::size_t>(first));
        EXPECT_GT(from, 0);
        EXPECT_LT(from, 8);
        expectPart(Presented(movie.path), folder / "recording", from, captured);
        expectInput(folder / "recording", captured, from, captured);
        EXPECT_THAT(stage::readMovieBoxes(folder / "recording").faults, IsEmpty());
        EXPECT_EQ(buffer.contents().bytes, 0U);
    }
}

TEST(ReplayBufferTests, AFailedSaveLeavesNoFileAndCanBeRepeated) {
    const TemporaryFolder folder;
    const CountedRecipe recipe{.seconds = captured};
    const CountedMovie movie(folder / "all", recipe);
    Replay replay(movie, recipe, {10, 1 << 30});
    {
        const FullDisk disk(100'000);
        EXPECT_NE(replay.save(folder / "a"), "");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "a"));
    EXPECT_NE(replay.save(folder / "all"), "") << "the name is taken";
    EXPECT_EQ(replay.save(folder / "a"), "");

    ReplayBuffer nothing({10, 1 << 30}, RecoveryList(folder / "unfinished"));
    std::promise<bool> refused;
    nothing.save(folder / "b",
                 [&refused](const std::exception_ptr& error) { refused.set_value(error != nullptr); });
    EXPECT_TRUE(refused.get_future().get()) << "there is no picture yet";
    EXPECT_FALSE(std::filesystem::exists(folder / "b"));
}

}  // namespace
}  // namespace lumicrate::media
