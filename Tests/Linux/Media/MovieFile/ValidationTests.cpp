// The files that the asset writer makes, judged by the rules of their format and by the programs that people
// open them with; and the judge itself, which must find every kind of damage.

#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
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
using testing::Not;

constexpr CMTime start{1000, 1};
constexpr int rate = 48000;
constexpr int width = 320;
constexpr int height = 180;

struct Recipe {
    const char* name;
    AVFileType type;
    bool pictures;
    std::vector<int> channels;  ///< of each sound track
    double soundBegins = 0;     ///< seconds
    AVVideoCodecType codec = AVVideoCodecType::h264;
    bool isFinished = true;
};

void PrintTo(const Recipe& recipe, std::ostream* stream) {
    *stream << recipe.name;
}

/// Pictures come at a steady rate, after a pause, at odd times, and close together.
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

/// Pictures and sound in the order of a recording, hundredth by hundredth of a second.
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
    if (recipe.isFinished) {
        EXPECT_EQ(maker->finish(), AVAssetWriterStatus::completed);
    } else {
        maker->destroyWriter();
    }
    return maker;
}

class ValidationTests : public testing::TestWithParam<Recipe> {};

void expectFormat(const stage::MovieBoxes& movie, const Recipe& recipe) {
    EXPECT_THAT(movie.faults, IsEmpty());
    EXPECT_THAT(movie.boxes, ElementsAre("ftyp", "free", "free", "moov", "free", "mdat"));
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_NEAR(static_cast<double>(movie.created), static_cast<double>(std::time(nullptr)), 60);
    ASSERT_EQ(movie.tracks.size(), recipe.channels.size() + (recipe.pictures ? 1 : 0));
    if (!recipe.pictures) return;
    const stage::MovieTrack& track = movie.tracks.front();
    ASSERT_EQ(track.samples.size(), pictureTimes.size());
    for (std::size_t i = 0; i < pictureTimes.size(); ++i)
        EXPECT_NEAR(track.samples[i].time, pictureTimes[i], 1.0 / track.timescale) << i;
}

void expectSound(const stage::MovieBoxes& movie, const std::filesystem::path& file, const Recipe& recipe) {
    const std::size_t first = recipe.pictures ? 1 : 0;
    for (std::size_t i = first; i < movie.tracks.size(); ++i) {
        EXPECT_NEAR(movie.tracks[i].presentedDuration, recipe.pictures ? movie.duration : length,
                    1024.0 / rate);
        const stage::Sound heard = stage::MovieProbe(file).sound(i - first);
        const auto onset = stage::onset(heard.samples.at(0), 0.05F);
        ASSERT_TRUE(onset);
        EXPECT_NEAR(heard.timeAt(*onset), recipe.soundBegins, 0.005);
    }
}

/// AtomicParsley, which does not read QuickTime files, and MediaInfo find the boxes where they are.
void expectBoxesForOthers(const std::filesystem::path& file, const Recipe& recipe) {
    const std::vector<std::string> common{"mvhd", "trak", "tkhd", "mdia", "mdhd", "hdlr", "minf", "dinf",
                                          "dref", "stbl", "stsd", "stts", "stsc", "stsz", "stco"};
    const std::vector<std::string> types = stage::boxTypesOf(file);
    EXPECT_THAT(common, IsSubsetOf(types));
    EXPECT_EQ(static_cast<std::size_t>(std::count(types.begin(), types.end(), "trak")),
              recipe.channels.size() + (recipe.pictures ? 1 : 0));
    if (recipe.type == AVFileType::quickTimeMovie) return;
    std::vector<std::string> topTypes;
    std::uint64_t end = 0;
    for (const stage::Atom& atom : stage::atomsOf(file)) {
        if (atom.offset < end) continue;  // within the previous one
        topTypes.push_back(atom.type);
        EXPECT_EQ(atom.offset, end);
        end += atom.size;
    }
    EXPECT_THAT(topTypes, ElementsAre("ftyp", "free", "free", "moov", "free", "mdat"));
    EXPECT_EQ(end, std::filesystem::file_size(file));
}

TEST_P(ValidationTests, TheFileIsValid) {
    const auto maker = makeMovie(GetParam());
    const stage::MovieBoxes movie = stage::readMovieBoxes(maker->path());
    expectFormat(movie, GetParam());
    expectSound(movie, maker->path(), GetParam());
    EXPECT_THAT(stage::complaintsAbout(maker->path()), IsEmpty());
    expectBoxesForOthers(maker->path(), GetParam());
}

constexpr AVVideoCodecType hevcCodec = AVVideoCodecType::hevc;

INSTANTIATE_TEST_SUITE_P(
    Recipes, ValidationTests,
    testing::Values(Recipe{"mp4", AVFileType::mpeg4, true, {}},
                    Recipe{"mp4_with_sound", AVFileType::mpeg4, true, {2}},
                    Recipe{"mp4_with_late_sound", AVFileType::mpeg4, true, {2, 1}, 0.7},
                    Recipe{"hevc_mp4", AVFileType::mpeg4, true, {2}, 0, hevcCodec},
                    Recipe{"m4a_with_two_tracks", AVFileType::appleM4A, false, {2, 1}},
                    Recipe{"mov", AVFileType::quickTimeMovie, true, {}},
                    Recipe{"mov_with_late_sound", AVFileType::quickTimeMovie, true, {1}, 0.7},
                    Recipe{
                        "hevc_mov_with_two_tracks", AVFileType::quickTimeMovie, true, {2, 1}, 0, hevcCodec}),
    [](const auto& each) { return std::string(each.param.name); });

// --- the judge

using FileBytes = std::vector<std::uint8_t>;

const Recipe mp4{"mp4", AVFileType::mpeg4, true, {2, 1}, 0.7};
const Recipe mov{"mov", AVFileType::quickTimeMovie, true, {2}};
const Recipe m4a{"m4a", AVFileType::appleM4A, false, {2, 1}};
const Recipe hevc{"hevc", AVFileType::mpeg4, true, {}, 0, hevcCodec};
const Recipe fragmented{"fragmented", AVFileType::mpeg4, true, {2}, 0, AVVideoCodecType::h264, false};

const FileBytes& bytesOf(const Recipe& recipe) {
    static std::map<std::string, FileBytes> movies;
    FileBytes& bytes = movies[recipe.name];
    if (bytes.empty()) {
        const auto maker = makeMovie(recipe);
        std::ifstream file(maker->path(), std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
    return bytes;
}

stage::MovieBoxes readMovie(const FileBytes& bytes, stage::Ending ending = stage::Ending::Whole) {
    const test::TemporaryFolder folder;
    std::ofstream(folder / "movie", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return stage::readMovieBoxes(folder / "movie", ending);
}

/// Where the content of a box begins.
std::ptrdiff_t contentOf(const stage::Box& parent, const std::string& path) {
    for (const stage::Box& box : parent.children) {
        if (box.path == path) return static_cast<std::ptrdiff_t>(box.contentOffset());
        if (path.starts_with(box.path + "/")) return contentOf(box, path);
    }
    throw std::invalid_argument("There is no box " + path);
}

std::ptrdiff_t contentOf(const FileBytes& bytes, const std::string& path) {
    stage::Faults none;
    return contentOf(readBoxes(bytes, false, none), path);
}

FileBytes ascii(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(MovieBoxesTests, ReadsTheSamplesThatAPlayerReads) {
    for (const Recipe& recipe : {mp4, mov, m4a, hevc, fragmented}) {
        const auto maker = makeMovie(recipe);
        const stage::MovieBoxes boxes = stage::readMovieBoxes(maker->path());
        EXPECT_THAT(boxes.faults, IsEmpty()) << recipe.name;
        stage::MovieProbe probe(maker->path());
        ASSERT_EQ(boxes.tracks.size(), probe.tracks().size());
        for (std::size_t i = 0; i < boxes.tracks.size(); ++i) {
            const auto& samples = boxes.tracks[i].samples;
            const auto packets = probe.packets(static_cast<int>(i));
            ASSERT_EQ(samples.size(), packets.size());
            for (std::size_t j = 0; j < packets.size(); ++j) {
                EXPECT_EQ(samples[j].size, packets[j].size);
                EXPECT_EQ(samples[j].isSync, packets[j].isKey);
                EXPECT_NEAR(samples[j].time, packets[j].pts, 1e-4);
            }
        }
    }
}

TEST(MovieBoxesTests, TellsWhereTwoMoviesDiffer) {
    const stage::MovieBoxes one = readMovie(bytesOf(mp4));
    stage::MovieBoxes other = one;
    EXPECT_THAT(differencesOf(one, other), IsEmpty());
    other.tracks[0].samples[3].hash ^= 1;
    other.tracks[1].samples[7].time += 0.001;
    other.tracks[2].samples.pop_back();
    EXPECT_THAT(differencesOf(one, other),
                ElementsAre("sample 4 of track 1 differs in its bytes",
                            "sample 8 of track 2 differs in its time", testing::StartsWith("track 3 has ")));
}

/// Each damage by itself: some bytes of one box changed.
struct Damaged {
    const Recipe& movie;
    std::string box;
    /// Where in the box's content, and what; -4 is its type, -8 its size.
    std::vector<std::pair<int, FileBytes>> damages;
};

const std::string pictures = "moov/trak/mdia/minf/stbl/";
const std::string audio = "moov/trak[2]/mdia/minf/stbl/";

const std::vector<Damaged> damagedBoxes{
    {mp4, "ftyp", {{8, ascii("mp42")}, {12, ascii("xyz1")}, {-4, ascii("free")}}},
    {mp4, "free", {{-4, ascii("ftyp")}}},
    {mp4, "mdat", {{-12, ascii("moov")}}},
    {mp4, "moov/mvhd", {{-8, {0, 0xff}}, {-5, {100}}, {-5, {7}}, {-4, ascii("free")}, {0, {2}}, {3, {1}}}},
    {mp4, "moov/mvhd", {{4, {0xff, 0xff}}, {4, {0, 1}}, {8, {0xd0}}, {17, {1}}, {21, {2}}, {24, {2}}}},
    {mp4, "moov/mvhd", {{37, {0}}, {99, {3}}}},
    {mp4, "moov/trak/tkhd", {{3, {2}}, {4, {0xff, 0xff}}, {15, {2}}, {21, {1}}, {33, {1}}, {36, {1}}}},
    {mp4, "moov/trak/tkhd", {{41, {2}}, {77, {65}}, {81, {65}}}},
    {mp4, "moov/trak[2]/tkhd", {{36, {0}}}},
    {mp4, "moov/trak[2]/edts/elst", {{7, {9}}, {10, {0xab}}, {13, {0x70}}, {17, {2}}}},
    {mp4, "moov/trak/mdia", {{-4, ascii("edtz")}}},
    {mp4, "moov/trak/mdia/mdhd", {{12, {0, 0, 0, 0}}, {17, {1}}, {20, {0x7c, 0}}}},
    {mp4, "moov/trak/mdia/hdlr", {{8, ascii("text")}, {8, ascii("soun")}, {26, {0}}}},
    {mov, "moov/trak/mdia/hdlr", {{4, {0}}, {24, {3}}}},
    {mov, "moov/trak/mdia/minf/hdlr", {{4, ascii("mhlr")}}},
    {mp4, "moov/trak/mdia/minf/vmhd", {{3, {0}}, {-4, ascii("smhd")}}},
    {mp4, "moov/trak[2]/mdia/minf/smhd", {{4, {1}}}},
    {mp4, "moov/trak/mdia/minf/dinf/dref", {{7, {2}}}},
    {mp4, "moov/trak/mdia/minf/dinf/dref/url ", {{3, {0}}}},
    {mp4, pictures + "stsd", {{7, {2}}}},
    {mp4, pictures + "stsd/avc1", {{7, {2}}, {25, {65}}, {27, {50}}, {29, {1}}, {41, {2}}, {75, {32}}}},
    {mp4, pictures + "stsd/avc1/avcC", {{-4, ascii("free")}, {1, {77}}, {4, {0xfd}}}},
    {mp4, pictures + "stsd/avc1/colr", {{-4, ascii("pasp")}, {3, ascii("c")}, {5, {9}}, {10, {0x80}}}},
    {mov, pictures + "stsd/avc1/colr", {{9, {6}}}},
    {hevc, pictures + "stsd/hvc1", {{-4, ascii("hev1")}}},
    {hevc, pictures + "stsd/hvc1/hvcC", {{16, {0xfe}}, {21, {0x0d}}, {23, {0x20}}}},
    {mp4, audio + "stsd/mp4a", {{17, {6}}}},
    {m4a, pictures + "stsd/mp4a", {{24, {0xac, 0x44}}}},
    {mov, audio + "stsd/mp4a", {{20, {0, 0}}, {30, {8}}}},
    {mov, audio + "stsd/mp4a/wave/frma", {{0, ascii("lpcm")}}},
    {mov, audio + "stsd/mp4a/wave/????", {{-4, ascii("free")}}},
    {mp4, audio + "stsd/mp4a/esds", {{4, {4}}, {11, {0x6b}}, {12, {0x11}}}},
    {mp4, pictures + "stts", {{7, {9}}, {11, {17}}, {15, {1}}}},
    {mp4, pictures + "stsz", {{11, {19}}, {12, {0, 0, 0, 0}}, {12, {0, 0, 0, 9}}}},
    {mp4, pictures + "stsc", {{11, {2}}, {15, {77}}, {19, {2}}}},
    {mp4, pictures + "stco", {{-4, ascii("free")}, {8, {0x7f}}, {8, {0, 0, 0, 8}}}},
    {mp4, pictures + "stss", {{-4, ascii("co64")}, {-4, ascii("free")}, {11, {21}}, {11, {2}}}},
    {mp4, audio + "sgpd", {{-4, ascii("free")}, {17, {0xfe}}}},
    {mp4, audio + "sbgp", {{-4, ascii("sgpd")}, {15, {1}}, {19, {0}}}},
    {fragmented, "moov/mvex", {{-4, ascii("free")}}},
    {fragmented, "moov/mvex/trex", {{7, {9}}, {11, {2}}}},
    {fragmented, "moof[2]/mfhd", {{7, {1}}}},
    {fragmented, "moof/traf/tfhd", {{1, {0x42}}, {7, {9}}}},
    {fragmented, "moof[2]/traf/tfdt", {{-4, ascii("free")}, {9, {0, 0, 1}}}},
    {fragmented, "moof/traf/trun", {{1, {0x80}}, {7, {1}}, {20, {1}}}},
    {fragmented, "moof[2]/traf/trun", {{8, {0, 0, 0, 0}}, {8, {1}}}},
    {fragmented, "moof/traf[2]/sbgp", {{15, {99}}}},
    {fragmented, "mdat", {{-4, ascii("free")}}},
};

void expectFound(FileBytes bytes, std::ptrdiff_t place, const FileBytes& damage) {
    SCOPED_TRACE("damaged at " + std::to_string(place));
    ASSERT_FALSE(std::equal(damage.begin(), damage.end(), bytes.begin() + place)) << "it is like that anyway";
    std::copy(damage.begin(), damage.end(), bytes.begin() + place);
    EXPECT_THAT(readMovie(bytes).faults, Not(IsEmpty()));
}

TEST(MovieBoxesTests, FindsDamagedBoxes) {
    for (const auto& [movie, box, damages] : damagedBoxes) {
        SCOPED_TRACE(box);
        for (const auto& [place, damage] : damages)
            expectFound(bytesOf(movie), contentOf(bytesOf(movie), box) + place, damage);
    }
}

TEST(MovieBoxesTests, FindsDamagedSamples) {
    const auto offsetOf = [](const Recipe& movie, std::size_t sample) {
        return static_cast<std::ptrdiff_t>(readMovie(bytesOf(movie)).tracks.at(0).samples.at(sample).offset);
    };
    for (const FileBytes& damage : {FileBytes{1}, FileBytes{0, 0, 0, 1}})
        expectFound(bytesOf(mp4), offsetOf(mp4, 3), damage);
    for (const std::uint8_t header : {0x67, 0x06, 0x65})
        expectFound(bytesOf(mp4), offsetOf(mp4, 3) + 4, {header});
    expectFound(bytesOf(hevc), offsetOf(hevc, 3) + 4, {0x26});
    expectFound(bytesOf(fragmented), offsetOf(fragmented, 0) + 4, {0x41});
}

TEST(MovieBoxesTests, FindsBytesInNoBoxAndInTwoSamples) {
    FileBytes longer = bytesOf(mp4);
    longer.insert(longer.end(), {0, 0, 0});
    EXPECT_THAT(readMovie(longer).faults, Not(IsEmpty()));
    FileBytes shared = bytesOf(m4a);
    const auto places = [&](const std::string& trak) {
        return shared.begin() + contentOf(shared, "moov/" + trak + "/mdia/minf/stbl/stco") + 8;
    };
    std::copy_n(places("trak"), 4, places("trak[2]"));
    EXPECT_THAT(readMovie(shared).faults, testing::Contains(testing::HasSubstr("share bytes")));
}

TEST(MovieBoxesTests, AFileThatWasCutOffLacksOnlyItsEnd) {
    const FileBytes& whole = bytesOf(fragmented);
    std::size_t count = 0;
    for (auto end = contentOf(whole, "moof"); end < std::ssize(whole); end += 997) {
        const auto boxes = readMovie({whole.begin(), whole.begin() + end}, stage::Ending::CutOff);
        ASSERT_THAT(boxes.faults, IsEmpty()) << end;
        ASSERT_GE(boxes.tracks.at(0).samples.size(), count);
        count = boxes.tracks[0].samples.size();
    }
    EXPECT_GT(count, pictureTimes.size() / 2);
    EXPECT_THAT(readMovie({whole.begin(), whole.end() - 9}).faults, Not(IsEmpty())) << "taken for complete";
}

}  // namespace
}  // namespace lumicrate::media
