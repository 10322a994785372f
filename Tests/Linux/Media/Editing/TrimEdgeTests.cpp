// Movies and ranges that are out of the ordinary, and what happens when a cut fails.

#include "Support/Error.h"
#include "Tests/Linux/Media/Editing/Presented.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <random>
#include <thread>

namespace lumicrate::media {
namespace {

using test::CountedMovie;
using test::CountedRecipe;
using test::expectPart;
using test::Presented;
using testing::HasSubstr;
using testing::IsEmpty;

using Preset = AVAssetExportPreset;

class TrimEdgeTests : public test::TrimFixture {
 protected:
    CountedMovie make(const CountedRecipe& recipe, const std::string& name = "movie") const {
        return CountedMovie::make(folder / name, recipe);
    }
    /// What is said of a cut that fails, of which nothing may stay.
    std::string failure(const std::filesystem::path& source, double from, double to,
                        const LongWork& work = {}, AVFileType type = AVFileType::mpeg4,
                        Preset preset = Preset::passthrough) const {
        const std::filesystem::path path = folder / "failing";
        try {
            Assets().exportMovie(source, path, type, preset, range(from, to), work);
        } catch (const LocalizedError& error) {
            EXPECT_FALSE(std::filesystem::exists(path));
            return error.what();
        }
        ADD_FAILURE() << "it worked";
        return {};
    }
};

TEST_F(TrimEdgeTests, CutsTheCutAgain) {
    CountedRecipe recipe;
    recipe.seconds = 12;
    const CountedMovie movie = make(recipe);
    const Presented original(movie.path);
    for (const Preset first : {Preset::passthrough, Preset::highestQuality}) {
        const std::filesystem::path once = cut(movie.path, 1.234, 10.5, first);
        const Presented onceCut(once);
        for (const Preset second : {Preset::passthrough, Preset::highestQuality}) {
            for (const double from : {0.0, 0.001, 3.3}) {
                SCOPED_TRACE(testing::Message() << int(first) << int(second) << " from " << from);
                const std::filesystem::path twice = cut(once, from, 7.25, second);
                expectPart(onceCut, twice, from, 7.25);
                expectPart(original, twice, 1.234 + from, 1.234 + 7.25, 1);
            }
        }
    }
}

TEST_F(TrimEdgeTests, TakesWhatThereIs) {
    CountedRecipe recipe;
    recipe.seconds = 8;
    recipe.channels = {2, 1, 2};
    recipe.soundBegins = 2.5;
    const CountedMovie movie = make(recipe);
    const Presented original(movie.path);
    const auto at = [&](std::size_t number) {
        return static_cast<double>(movie.pictures[number].time) / test::clock;
    };
    const std::vector<std::pair<double, double>> ranges{
        {0, 8},                          // all of it
        {0, 1},                          // before the sound
        {1, 4},                          // into it
        {at(40), at(41)},                // one picture
        {at(40) + 0.01, at(41) - 0.01},  // less than one
        {7.9, 8},                        // the end
    };
    for (const auto& [from, to] : ranges) {
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality}) {
            SCOPED_TRACE(testing::Message() << from << " to " << to << ", preset " << int(preset));
            const std::filesystem::path path = cut(movie.path, from, to, preset);
            const Presented found(path);
            expectSamePictures(test::part(original.pictures, test::ticks(from), test::ticks(to)),
                               found.pictures);
            EXPECT_NEAR(found.probe.duration(), to - from, 0.001);
            if (from >= 2.5) expectPart(original, path, from, to);
        }
    }
    expectPart(original, cut(movie.path, 3, 100, Preset::highestQuality), 3, 8);
}

/// mpv leaves edit lists alone before its version 0.38, unless it is told otherwise.
std::vector<int> numbersSeenInMpv(const std::filesystem::path& movie, const std::filesystem::path& folder) {
    stage::runProgram({"mpv", "--no-config", "--really-quiet", "--untimed", "--no-audio", "--vo=image",
                       "--vo-image-format=jpg", "--vo-image-outdir=" + folder.string(),
                       "--demuxer-lavf-o=advanced_editlist=1", movie.string()});
    std::vector<int> numbers;
    for (int i = 1;; ++i) {
        const std::filesystem::path file =
            folder / (std::string(8 - std::to_string(i).size(), '0') + std::to_string(i) + ".jpg");
        if (!std::filesystem::exists(file)) return numbers;
        numbers.push_back(test::readNumber(*stage::MovieProbe(file).pictureAt(0)).value_or(-1));
    }
}

TEST_F(TrimEdgeTests, OtherPlayersShowNothingOfWhatIsHidden) {
    const CountedMovie movie = make({});
    std::vector<int> expected;
    for (const test::CountedPicture& each : test::part(movie.pictures, test::ticks(8.9), test::ticks(10.5)))
        expected.push_back(each.number);
    const std::filesystem::path fast = cut(movie.path, 8.9, 10.5, Preset::passthrough);
    EXPECT_EQ(numbersSeenInMpv(fast, folder / "seen"), expected);
}

TEST_F(TrimEdgeTests, CutsSoundAlone) {
    CountedRecipe recipe;
    recipe.type = AVFileType::appleM4A;
    recipe.pictures = false;
    recipe.seconds = 5;
    const CountedMovie movie = make(recipe);
    const Presented original(movie.path);
    for (const Preset preset : {Preset::passthrough, Preset::highestQuality})
        expectPart(original, cut(movie.path, 1.11111, 4.2, preset, AVFileType::appleM4A), 1.11111, 4.2);
}

TEST_F(TrimEdgeTests, OtherProgramsFindNoFault) {
    for (const AVVideoCodecType codec : {AVVideoCodecType::h264, AVVideoCodecType::hevc}) {
        CountedRecipe recipe;
        recipe.codec = codec;
        recipe.seconds = 8;
        const CountedMovie movie = make(recipe, codec == AVVideoCodecType::hevc ? "hevc" : "h264");
        const Preset precise =
            codec == AVVideoCodecType::hevc ? Preset::hevcHighestQuality : Preset::highestQuality;
        for (const Preset preset : {Preset::passthrough, precise})
            EXPECT_THAT(stage::complaintsAbout(cut(movie.path, 1.5, 7, preset)), IsEmpty()) << int(preset);
    }
}

TEST_F(TrimEdgeTests, SaysWhyItCannot) {
    CountedRecipe recipe;
    recipe.seconds = 4;
    const CountedMovie movie = make(recipe);
    const auto bytes = std::filesystem::file_size(movie.path);
    const auto file = [&](const std::string& name, std::uintmax_t size) {
        std::filesystem::copy_file(movie.path, folder / name);
        std::filesystem::resize_file(folder / name, size);
        return folder / name;
    };
    std::ofstream(folder / "text") << "This is no movie.";
    stage::runProgram(
        {"ffmpeg", "-v", "error", "-i", movie.path, "-c:v", "ffv1", "-an", folder / "exotic.mkv"});
    struct Case {
        std::filesystem::path source;
        const char* sentence;
        double from = 1;
        double to = 2;
    };
    const std::vector<Case> cases{
        {folder / "missing", "No such file"},
        {folder / "text", "isn't a movie"},
        {file("empty", 0), "it is empty"},
        {file("half", bytes / 2), "it is cut off", 0.1, 3.9},
        {folder.path(), "it is a folder"},
        {folder / "exotic.mkv", "can't hold: ffv1"},
        {movie.path, "outside the recording", 4.5, 5},
        {movie.path, "outside the recording", 2, 1},
        {movie.path, "outside the recording", 2, 2},
        {movie.path, "outside the recording", -1, 2},
    };
    for (const Case& each : cases)
        EXPECT_THAT(failure(each.source, each.from, each.to), HasSubstr(each.sentence)) << each.source;
}

/// A limit on the size of files, for as long as it lives: the same to a writer as a full disk.
class SmallFiles {
 public:
    explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

 private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST_F(TrimEdgeTests, LeavesNothingWhenTheDiskIsFull) {
    CountedRecipe recipe;
    recipe.seconds = 8;
    const CountedMovie movie = make(recipe);
    for (const rlim_t bytes : {1U, 20'000U, 100'000U}) {
        const SmallFiles limit(bytes);
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality}) {
            const std::string sentence = failure(movie.path, 0.5, 7.5, {}, AVFileType::mpeg4, preset);
            EXPECT_THAT(sentence, HasSubstr("The new file couldn't be written: ")) << bytes;
        }
    }
}

TEST_F(TrimEdgeTests, CanBeGivenUpAtAnyTime) {
    CountedRecipe recipe;
    recipe.seconds = 12;
    const CountedMovie movie = make(recipe);
    const std::filesystem::path other = folder / "other.mp4";
    stage::runProgram(
        {"ffmpeg", "-v", "error", "-i", movie.path, "-c:v", "libx264", "-bf", "2", "-c:a", "copy", other});
    std::mt19937 random(2);
    for (const std::filesystem::path& source : {movie.path, other}) {
        for (const Preset preset : {Preset::passthrough, Preset::highestQuality}) {
            for (int i = 0; i < 5; ++i) {
                std::stop_source stop;
                const double most = i == 0 ? 0 : std::uniform_real_distribution<double>(0, 0.95)(random);
                if (i == 0) stop.request_stop();
                double last = 0;
                const LongWork work{[&](double part) {
                                        EXPECT_GE(part, last);
                                        last = part;
                                        if (part >= most) stop.request_stop();
                                    },
                                    stop.get_token()};
                EXPECT_EQ(failure(source, 1.1, 11, work, AVFileType::mpeg4, preset), CancelledError().what());
            }
        }
    }
}

TEST_F(TrimEdgeTests, TellsHowFarItHasCome) {
    CountedRecipe recipe;
    recipe.seconds = 6;
    const CountedMovie movie = make(recipe);
    std::vector<double> parts;
    Assets().exportMovie(movie.path, folder / "cut", AVFileType::mpeg4, Preset::highestQuality, range(1, 5),
                         {[&](double part) { parts.push_back(part); }, {}});
    EXPECT_TRUE(std::is_sorted(parts.begin(), parts.end()));
    ASSERT_GE(parts.size(), 10U);
    EXPECT_LE(parts.back(), 1);
    EXPECT_GE(parts.back(), 0.9);
}

}  // namespace
}  // namespace lumicrate::media
