// The files that the asset writer leaves, judged by the rules of their format and by the programs that people
// open them with.

#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <ctime>
#include <numbers>

namespace lumicrate::media {
namespace {

using test::audioSettings;
using test::frame;
using test::MovieMaker;
using test::sound;
using test::TestPicture;
using test::videoSettings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSubsetOf;

constexpr CMTime start{1000, 1};
constexpr int rate = 48000;
constexpr int width = 320;
constexpr int height = 180;

/// What a movie is made of.
struct Recipe {
    const char* name;
    AVFileType type;
    bool pictures;
    std::vector<int> channels;  ///< of each sound track
    double soundBegins = 0;     ///< seconds
    AVVideoCodecType codec = AVVideoCodecType::h264;
};

void PrintTo(const Recipe& recipe, std::ostream* stream) {
    *stream << recipe.name;
}

/// When pictures come: at a steady rate, after a rest, at odd times, and close together.
constexpr std::array pictureTimes{0.0,   0.033, 0.067, 0.1,   0.133, 0.9,      0.91,
                                  1.003, 1.7,   1.716, 1.733, 2.25,  2.256789, 2.5};
constexpr double length = 3;

std::vector<float> tone(double frequency, std::size_t from, std::size_t count) {
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(from + i) / rate;
        samples[i] = 0.3F * static_cast<float>(std::sin(phase));
    }
    return samples;
}

CMTime at(double seconds) {
    return start + CMTime(std::llround(seconds * 1'000'000), 1'000'000);
}

/// Pictures and sound as they would come from a recording, hundredth by hundredth of a second.
std::unique_ptr<MovieMaker> makeMovie(const Recipe& recipe) {
    std::vector<AVOutputSettings> tracks;
    if (recipe.pictures) {
        AVVideoOutputSettings pictures = videoSettings(width, height);
        pictures.codec = recipe.codec;
        tracks.emplace_back(pictures);
    }
    for (const int channels : recipe.channels)
        tracks.emplace_back(audioSettings(channels));
    auto maker = std::make_unique<MovieMaker>(tracks, recipe.type);

    constexpr std::size_t chunk = rate / 100;
    std::size_t nextPicture = 0;
    for (int hundredth = 0; hundredth < length * 100; ++hundredth) {
        const double now = hundredth / 100.0;
        while (recipe.pictures && nextPicture < pictureTimes.size() && pictureTimes[nextPicture] <= now) {
            auto picture = std::make_shared<TestPicture>(width, height);
            picture->print({0, 0, width, height}, static_cast<unsigned>(nextPicture));
            maker->append(0, frame(at(pictureTimes[nextPicture]), picture));
            ++nextPicture;
        }
        if (now < recipe.soundBegins) continue;
        for (std::size_t i = 0; i < recipe.channels.size(); ++i) {
            const auto samples =
                tone(440.0 * static_cast<double>(i + 1), static_cast<std::size_t>(hundredth) * chunk, chunk);
            maker->append(i + (recipe.pictures ? 1 : 0), sound(at(now), samples, recipe.channels[i]));
        }
    }
    EXPECT_EQ(maker->finish(), AVAssetWriterStatus::completed);
    return maker;
}

class ValidationTests : public testing::TestWithParam<Recipe> {
 protected:
    const Recipe& recipe() const { return GetParam(); }
    const std::filesystem::path& file() const { return maker_->path(); }

 private:
    std::unique_ptr<MovieMaker> maker_ = makeMovie(recipe());
};

TEST_P(ValidationTests, KeepsTheRulesOfItsFormat) {
    const stage::MovieBoxes movie = stage::readMovieBoxes(file());
    EXPECT_THAT(movie.faults, IsEmpty());
    EXPECT_THAT(movie.boxes, ElementsAre("ftyp", "free", "free", "moov", "free", "mdat"));
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_NEAR(static_cast<double>(movie.created), static_cast<double>(std::time(nullptr)), 60);
    ASSERT_EQ(movie.tracks.size(), recipe().channels.size() + (recipe().pictures ? 1 : 0));
    for (const stage::MovieTrack& track : movie.tracks) {
        if (!track.isVideo()) {
            EXPECT_EQ(track.timescale, static_cast<std::uint32_t>(rate));
            continue;
        }
        ASSERT_EQ(track.samples.size(), pictureTimes.size());
        for (std::size_t i = 0; i < pictureTimes.size(); ++i)
            EXPECT_NEAR(track.samples[i].time, pictureTimes[i], 1.0 / track.timescale) << i;
    }
}

TEST_P(ValidationTests, SoundIsHeardFromItsBeginningToTheEnd) {
    const stage::MovieBoxes movie = stage::readMovieBoxes(file());
    const std::size_t first = recipe().pictures ? 1 : 0;
    for (std::size_t i = first; i < movie.tracks.size(); ++i) {
        const stage::MovieTrack& track = movie.tracks[i];
        EXPECT_NEAR(track.presentedDuration, recipe().pictures ? movie.duration : length, 1024.0 / rate);
        const stage::Sound heard = stage::MovieProbe(file()).sound(i - first);
        const auto onset = stage::onset(heard.samples.at(0), 0.05F);
        ASSERT_TRUE(onset);
        EXPECT_NEAR(heard.timeAt(*onset), recipe().soundBegins, 0.005);
    }
}

TEST_P(ValidationTests, OtherProgramsFindNoFault) {
    EXPECT_THAT(stage::complaintsAbout(file()), IsEmpty());
}

/// What every file of ours has; the tracks' own boxes are looked at elsewhere.
const std::vector<std::string> commonBoxes{"mvhd", "trak", "tkhd", "mdia", "mdhd", "hdlr", "minf", "dinf",
                                           "dref", "stbl", "stsd", "stts", "stsc", "stsz", "stco"};

TEST_P(ValidationTests, MediaInfoSeesTheBoxes) {
    const std::vector<std::string> types = stage::boxTypesOf(file());
    EXPECT_THAT(commonBoxes, IsSubsetOf(types));
    EXPECT_EQ(static_cast<std::size_t>(std::count(types.begin(), types.end(), "trak")),
              recipe().channels.size() + (recipe().pictures ? 1 : 0));
}

/// AtomicParsley does not take QuickTime files.
class Mpeg4ValidationTests : public ValidationTests {};

TEST_P(Mpeg4ValidationTests, AtomicParsleySeesTheBoxes) {
    std::vector<std::string> topTypes;
    std::vector<std::string> types;
    std::uint64_t end = 0;
    for (const stage::Atom& atom : stage::atomsOf(file())) {
        types.push_back(atom.type);
        if (atom.offset < end) continue;  // within the one before
        topTypes.push_back(atom.type);
        EXPECT_EQ(atom.offset, end);
        end += atom.size;
    }
    EXPECT_THAT(topTypes, ElementsAre("ftyp", "free", "free", "moov", "free", "mdat"));
    EXPECT_EQ(end, std::filesystem::file_size(file()));
    EXPECT_THAT(commonBoxes, IsSubsetOf(types));
}

const std::array mpeg4Recipes{Recipe{"mp4", AVFileType::mpeg4, true, {}},
                              Recipe{"mp4_with_sound", AVFileType::mpeg4, true, {2}},
                              Recipe{"mp4_with_two_tracks", AVFileType::mpeg4, true, {2, 1}},
                              Recipe{"mp4_with_late_sound", AVFileType::mpeg4, true, {2, 1}, 0.7},
                              Recipe{"hevc_mp4", AVFileType::mpeg4, true, {2}, 0, AVVideoCodecType::hevc},
                              Recipe{"m4a", AVFileType::appleM4A, false, {2}},
                              Recipe{"m4a_with_two_tracks", AVFileType::appleM4A, false, {2, 1}}};

const std::array quickTimeRecipes{
    Recipe{"mov", AVFileType::quickTimeMovie, true, {}},
    Recipe{"mov_with_late_sound", AVFileType::quickTimeMovie, true, {1}, 0.7},
    Recipe{"hevc_mov", AVFileType::quickTimeMovie, true, {}, 0, AVVideoCodecType::hevc},
    Recipe{"hevc_mov_with_two_tracks", AVFileType::quickTimeMovie, true, {2, 1}, 0, AVVideoCodecType::hevc}};

std::string nameOf(const testing::TestParamInfo<Recipe>& each) {
    return each.param.name;
}

INSTANTIATE_TEST_SUITE_P(Mpeg4, ValidationTests, testing::ValuesIn(mpeg4Recipes), nameOf);
INSTANTIATE_TEST_SUITE_P(Mpeg4, Mpeg4ValidationTests, testing::ValuesIn(mpeg4Recipes), nameOf);
INSTANTIATE_TEST_SUITE_P(QuickTime, ValidationTests, testing::ValuesIn(quickTimeRecipes), nameOf);

}  // namespace
}  // namespace lumicrate::media
