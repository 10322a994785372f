#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/Session.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

namespace lumicrate::stage {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

enum class Source { Mpeg4, Reordered, QuickTime, Sound, Hevc, Fragmented };

using FileBytes = std::vector<std::uint8_t>;

// Movies of another program: two seconds of pictures, and sound in two tracks of which one is shorter.
class Movies {
 public:
    static const Movies& shared() {
        static const Movies movies;
        return movies;
    }

    const std::filesystem::path& operator[](Source source) const { return files_.at(source); }
    const std::map<Source, std::filesystem::path>& all() const { return files_; }

 private:
    Movies() {
        const std::vector<std::string> h264{"-c:v", "libx264", "-bf", "0"};
        const std::vector<std::string> hevc{"-c:v", "libx265",      "-tag:v",
                                            "hvc1", "-x265-params", "log-level=error"};
        make(Source::Mpeg4, "plain.mp4", h264, {"-g", "5", "-movflags", "+faststart"});
        make(Source::Reordered, "reordered.mp4", {"-c:v", "libx264", "-bf", "2"}, {});
        make(Source::QuickTime, "plain.mov", h264, {"-movflags", "+faststart"});
        make(Source::Hevc, "hevc.mov", hevc, {});
        make(Source::Fragmented, "fragmented.mp4", h264,
             {"-g", "5", "-movflags", "+frag_keyframe+empty_moov+default_base_moof"});
        make(Source::Sound, "sound.m4a", {}, {});
    }

    void make(Source source, const std::string& name, const std::vector<std::string>& coding,
              const std::vector<std::string>& more) {
        const auto file = folder_.path() / name;
        std::vector<std::string> command{"ffmpeg", "-loglevel", "error", "-nostdin"};
        const auto add = [&](const std::vector<std::string>& arguments) {
            command.insert(command.end(), arguments.begin(), arguments.end());
        };
        const bool hasPictures = !coding.empty();
        if (hasPictures)
            add({"-f", "lavfi", "-i",
                 "testsrc2=s=64x48:r=10:d=2,scale=out_color_matrix=bt709,format=yuv420p"});
        add({"-f", "lavfi", "-i", "sine=1000:r=48000:d=2"});
        add({"-f", "lavfi", "-i", "sine=300:r=48000:d=1.5,aformat=channel_layouts=stereo"});
        for (int input = 0; input < (hasPictures ? 3 : 2); ++input) {
            add({"-map", std::to_string(input)});
        }
        add(coding);
        if (hasPictures)
            add({"-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709", "-color_range",
                 "tv"});
        add({"-c:a", "aac", "-disposition:a", "default", "-metadata", "creation_time=2024-02-29T12:00:00Z"});
        add(more);
        command.push_back(file.string());
        runProgram(command);
        files_[source] = file;
    }

    StageFolder folder_;
    std::map<Source, std::filesystem::path> files_;
};

FileBytes readBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// While it writes fragments, the other program counts no tracks.
const auto knownFaults =
    testing::ElementsAre(HasSubstr("gives the next track the number of one that is there"));

// Where a box begins in the file, by its path.
const Box& find(const Box& parent, const std::string& path) {
    const auto found = std::find_if(parent.children.begin(), parent.children.end(), [&](const Box& box) {
        return path == box.path || path.starts_with(box.path + "/");
    });
    if (found == parent.children.end()) throw std::invalid_argument("There is no box " + path);
    return found->path == path ? *found : find(*found, path);
}

std::vector<std::string> faultsOf(const FileBytes& bytes, Ending ending = Ending::Whole) {
    const StageFolder folder;
    const auto file = folder.path() / "movie";
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return stage::faultsOf(file, ending);
}

TEST(MovieBoxes, findsNothingWrongWithMoviesOfAnotherProgram) {
    for (const auto& [source, file] : Movies::shared().all()) {
        if (source == Source::Fragmented) {
            EXPECT_THAT(stage::faultsOf(file), knownFaults) << file;
        } else {
            EXPECT_THAT(stage::faultsOf(file), IsEmpty()) << file;
        }
    }
}

TEST(MovieBoxes, listsTheSamplesThatAPlayerShows) {
    for (const auto& [source, file] : Movies::shared().all()) {
        const MovieBoxes movie = readMovieBoxes(file);
        MovieProbe probe(file);
        ASSERT_EQ(movie.tracks.size(), probe.tracks().size()) << file;
        EXPECT_EQ(movie.isFragmented, source == Source::Fragmented);
        EXPECT_EQ(movie.indexInFront(), source == Source::Mpeg4 || source == Source::QuickTime);
        EXPECT_EQ(movie.created, 1709208000);
        for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
            const auto& track = movie.tracks[i];
            auto packets = probe.packets(static_cast<int>(i));
            std::sort(packets.begin(), packets.end(),
                      [](const Packet& one, const Packet& other) { return one.pts < other.pts; });
            ASSERT_EQ(track.samples.size(), packets.size()) << file;
            for (std::size_t sample = 0; sample < packets.size(); ++sample) {
                EXPECT_EQ(track.samples[sample].size, packets[sample].size);
                EXPECT_EQ(track.samples[sample].isSync, packets[sample].isKey);
                EXPECT_NEAR(track.samples[sample].time, packets[sample].pts, 1e-4) << file << " track " << i;
            }
        }
        EXPECT_NEAR(movie.duration, 2, source == Source::Fragmented ? 0.05 : 0.001) << file;
    }
}

TEST(MovieBoxes, knowsTheSameMovieInAnotherFileAndTellsOthers) {
    const StageFolder folder;
    const auto copy = folder.path() / "copy.mov";
    runProgram({"ffmpeg", "-loglevel", "error", "-nostdin", "-i",
                Movies::shared()[Source::Fragmented].string(), "-map", "0", "-c", "copy", copy.string()});
    const MovieBoxes fragmented = readMovieBoxes(Movies::shared()[Source::Fragmented]);
    MovieBoxes other = readMovieBoxes(copy);
    for (std::size_t i = 0; i < other.tracks.size(); ++i) {
        other.tracks[i].name = fragmented.tracks[i].name;
    }
    EXPECT_THAT(differencesOf(fragmented, other), IsEmpty());
    other.tracks[0].samples[3].hash ^= 1;
    other.tracks[1].samples[7].time += 0.001;
    other.tracks[2].samples.pop_back();
    EXPECT_THAT(differencesOf(fragmented, other),
                testing::ElementsAre("sample 4 of track 1 differs in its bytes",
                                     "sample 8 of track 2 differs in its time", HasSubstr("track 3 has ")));
}

// Some bytes of one box changed, and what is to be said of it.
struct Damage {
    const char* name;
    Source source;
    std::string box;
    int place;  // in the box's content; −4 is its type, −8 its size
    FileBytes bytes;
    const char* fault;
};

void PrintTo(const Damage& damage, std::ostream* stream) {
    *stream << damage.name;
}

FileBytes ascii(const std::string& text) {
    return {text.begin(), text.end()};
}

class DamagedBoxes : public testing::TestWithParam<Damage> {};

TEST_P(DamagedBoxes, areFound) {
    const Damage& damage = GetParam();
    FileBytes bytes = readBytes(Movies::shared()[damage.source]);
    Faults none;
    const Box whole = readBoxes(bytes, false, none);
    const auto begin = static_cast<std::ptrdiff_t>(find(whole, damage.box).contentOffset()) + damage.place;
    ASSERT_FALSE(std::equal(damage.bytes.begin(), damage.bytes.end(), bytes.begin() + begin))
        << "the file is like that anyway";
    std::copy(damage.bytes.begin(), damage.bytes.end(), bytes.begin() + begin);
    EXPECT_THAT(faultsOf(bytes), Contains(HasSubstr(damage.fault)));
}

const std::string pictures = "moov/trak/mdia/minf/stbl/";
const std::string sound = "moov/trak[2]/mdia/minf/stbl/";

INSTANTIATE_TEST_SUITE_P(
    Movie, DamagedBoxes,
    testing::Values(
        Damage{"brand", Source::Mpeg4, "ftyp", 8, ascii("mp42"), "ftyp at 0: isn't compatible"},
        Damage{"unknown_brand", Source::Mpeg4, "ftyp", 12, ascii("xyz1"), "unknown brand “xyz1”"},
        Damage{"box_too_long", Source::Mpeg4, "moov/mvhd", -8, {0, 0xff}, "reaches beyond its parent"},
        Damage{"box_too_short", Source::Mpeg4, "moov/mvhd", -5, {100}, "moov/mvhd"},
        Damage{"impossible_size", Source::Mpeg4, "moov/mvhd", -5, {7}, "impossible size of 7"},
        Damage{"unknown_box", Source::Mpeg4, "moov/trak/edts", -4, ascii("edtz"), "does not belong here"},
        Damage{"no_movie_header", Source::Mpeg4, "moov/mvhd", -4, ascii("free"), "lacks “mvhd”"},
        Damage{"second_index", Source::Mpeg4, "mdat", -4, ascii("moov"), "more than one “moov”"},
        Damage{"brand_not_first", Source::Mpeg4, "ftyp", -4, ascii("free"), "lacks “ftyp”"},
        Damage{"header_version", Source::Mpeg4, "moov/mvhd", 0, {2}, "unknown version 2"},
        Damage{"header_flags", Source::Mpeg4, "moov/mvhd", 3, {1}, "has flags"},
        Damage{"future", Source::Mpeg4, "moov/mvhd", 4, {0xff, 0xff}, "in the future"},
        Damage{"ancient", Source::Mpeg4, "moov/mvhd", 4, {0, 1}, "before 1970"},
        Damage{"modified_too_early", Source::Mpeg4, "moov/mvhd", 8, {0xd0}, "before it was created"},
        Damage{"movie_duration", Source::Mpeg4, "moov/mvhd", 18, {1, 1}, "its longest track"},
        Damage{"rate", Source::Mpeg4, "moov/mvhd", 21, {2}, "another rate"},
        Damage{"volume", Source::Mpeg4, "moov/mvhd", 24, {2}, "another volume"},
        Damage{"reserved", Source::Mpeg4, "moov/mvhd", 30, {2}, "reserved bytes"},
        Damage{"matrix", Source::Mpeg4, "moov/mvhd", 37, {2}, "turns or moves"},
        Damage{"next_track", Source::Mpeg4, "moov/mvhd", 99, {3}, "number of one that is there"}),
    [](const auto& each) { return std::string(each.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Track, DamagedBoxes,
    testing::Values(
        Damage{"disabled", Source::Mpeg4, "moov/trak/tkhd", 3, {2}, "isn't enabled"},
        Damage{"same_number", Source::Mpeg4, "moov/trak[2]/tkhd", 15, {1}, "number of another track"},
        Damage{"no_number", Source::Mpeg4, "moov/trak/tkhd", 15, {0}, "number 0"},
        Damage{"reserved", Source::Mpeg4, "moov/trak/tkhd", 16, {1}, "reserved bytes"},
        Damage{"duration", Source::Mpeg4, "moov/trak/tkhd", 22, {1, 1}, "but its edits"},
        Damage{"volume", Source::Mpeg4, "moov/trak/tkhd", 36, {1}, "suit its media"},
        Damage{"width", Source::Mpeg4, "moov/trak/tkhd", 77, {65}, "another size than its pictures"},
        Damage{"edit_late", Source::Mpeg4, "moov/trak/edts/elst", 12, {0, 0x10}, "after the media's end"},
        Damage{"edit_negative", Source::Mpeg4, "moov/trak/edts/elst", 12, {0xff}, "before the media"},
        Damage{"edit_empty_last",
               Source::Mpeg4,
               "moov/trak/edts/elst",
               12,
               {0xff, 0xff, 0xff, 0xff},
               "isn't one stretch of media"},
        Damage{"edit_rate", Source::Mpeg4, "moov/trak/edts/elst", 17, {2}, "another rate"},
        Damage{"edit_duration", Source::Mpeg4, "moov/trak/edts/elst", 8, {1}, "but its edits"},
        Damage{"edit_count", Source::Mpeg4, "moov/trak/edts/elst", 7, {2}, "ends too early"},
        Damage{"media_duration", Source::Mpeg4, "moov/trak/mdia/mdhd", 18, {1}, "the media's header says"},
        Damage{"time_scale", Source::Mpeg4, "moov/trak/mdia/mdhd", 12, {0, 0, 0, 0}, "no time scale"},
        Damage{"language", Source::Mpeg4, "moov/trak/mdia/mdhd", 20, {0x7c, 0}, "language that is none"},
        Damage{"handler", Source::Mpeg4, "moov/trak/mdia/hdlr", 8, ascii("text"),
               "neither picture nor sound"},
        Damage{"other_handler", Source::Mpeg4, "moov/trak/mdia/hdlr", 8, ascii("soun"),
               "media header of its handler"},
        Damage{"handler_kind", Source::QuickTime, "moov/trak/mdia/hdlr", 4, {0}, "wrong component type"},
        Damage{"handler_name", Source::QuickTime, "moov/trak/mdia/hdlr", 24, {3}, "name of another length"},
        Damage{
            "handler_name_open", Source::Mpeg4, "moov/trak/mdia/hdlr", 26, {0}, "doesn't end with the box"},
        Damage{"data_handler", Source::QuickTime, "moov/trak/mdia/minf/hdlr", 4, ascii("mhlr"),
               "isn't a data handler"},
        Damage{"video_flags", Source::Mpeg4, "moov/trak/mdia/minf/vmhd", 3, {0}, "hasn't the flag 1"},
        Damage{"balance", Source::Mpeg4, "moov/trak[2]/mdia/minf/smhd", 4, {1}, "isn't balanced"},
        Damage{"elsewhere", Source::Mpeg4, "moov/trak/mdia/minf/dinf/dref/url ", 3, {0}, "in this file"},
        Damage{"references", Source::Mpeg4, "moov/trak/mdia/minf/dinf/dref", 7, {2}, "as many as it says"}),
    [](const auto& each) { return std::string(each.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Coding, DamagedBoxes,
    testing::Values(
        Damage{"entries", Source::Mpeg4, pictures + "stsd", 7, {2}, "exactly one entry"},
        Damage{"tag", Source::Hevc, pictures + "stsd/hvc1", -4, ascii("hev1"), "does not belong here"},
        Damage{"reference", Source::Mpeg4, pictures + "stsd/avc1", 7, {2}, "isn't in the first place"},
        Damage{
            "width", Source::Mpeg4, pictures + "stsd/avc1", 25, {65}, "another size than its parameter set"},
        Damage{"height_hevc",
               Source::Hevc,
               pictures + "stsd/hvc1",
               27,
               {50},
               "another size than its parameter set"},
        Damage{"resolution", Source::Mpeg4, pictures + "stsd/avc1", 29, {1}, "usual horizontal resolution"},
        Damage{"frames", Source::Mpeg4, pictures + "stsd/avc1", 41, {2}, "one picture a sample"},
        Damage{"depth", Source::Mpeg4, pictures + "stsd/avc1", 75, {32}, "depth of 24 bits"},
        Damage{"no_configuration", Source::Mpeg4, pictures + "stsd/avc1/avcC", -4, ascii("free"),
               "lacks “avcC”"},
        Damage{"no_colors", Source::Mpeg4, pictures + "stsd/avc1/colr", -4, ascii("pasp"), "lacks “colr”"},
        Damage{"profile", Source::Mpeg4, pictures + "stsd/avc1/avcC", 1, {77}, "another profile or level"},
        Damage{"level_hevc", Source::Hevc, pictures + "stsd/hvc1/hvcC", 12, {1}, "another profile or level"},
        Damage{"length_size", Source::Mpeg4, pictures + "stsd/avc1/avcC", 4, {0xfd}, "lengths of four bytes"},
        Damage{"length_size_hevc",
               Source::Hevc,
               pictures + "stsd/hvc1/hvcC",
               21,
               {0x0d},
               "lengths of four bytes"},
        Damage{"set_length", Source::Mpeg4, pictures + "stsd/avc1/avcC", 7, {9}, "avcC"},
        Damage{"not_all_sets", Source::Hevc, pictures + "stsd/hvc1/hvcC", 23, {0x20}, "as “hvc1” must not"},
        Damage{"chroma_hevc", Source::Hevc, pictures + "stsd/hvc1/hvcC", 16, {0xfe}, "another sample format"},
        Damage{"primaries", Source::Mpeg4, pictures + "stsd/avc1/colr", 5, {9}, "other primaries"},
        Damage{"matrix", Source::QuickTime, pictures + "stsd/avc1/colr", 9, {6}, "other matrix"},
        Damage{"range", Source::Mpeg4, pictures + "stsd/avc1/colr", 10, {0x80}, "full range"},
        Damage{"color_kind", Source::Mpeg4, pictures + "stsd/avc1/colr", 3, ascii("c"),
               "isn't of the kind “nclx”"},
        Damage{"channels", Source::Mpeg4, sound + "stsd/mp4a", 17, {6}, "another number of channels"},
        Damage{"sample_rate", Source::Sound, pictures + "stsd/mp4a", 24, {0xac, 0x44}, "another sample rate"},
        Damage{"sound_version", Source::QuickTime, sound + "stsd/mp4a", 9, {2}, "is of version 2"},
        Damage{"compression", Source::QuickTime, sound + "stsd/mp4a", 20, {0, 0}, "compression number"},
        Damage{"packet", Source::QuickTime, sound + "stsd/mp4a", 30, {8}, "1024 samples a packet"},
        Damage{"wave_format", Source::QuickTime, sound + "stsd/mp4a/wave/frma", 0, ascii("lpcm"),
               "isn't “mp4a”"},
        Damage{"no_terminator", Source::QuickTime, sound + "stsd/mp4a/wave/????", -4, ascii("free"),
               "lacks the terminator"},
        Damage{"descriptor", Source::Mpeg4, sound + "stsd/mp4a/esds", 4, {4}, "in place of 3"},
        Damage{"descriptor_length", Source::Mpeg4, sound + "stsd/mp4a/esds", 8, {1}, "esds"},
        Damage{"object_type", Source::Mpeg4, sound + "stsd/mp4a/esds", 17, {0x6b}, "isn't MPEG-4 audio"},
        Damage{"stream_type", Source::Mpeg4, sound + "stsd/mp4a/esds", 18, {0x11}, "isn't an audio stream"}),
    [](const auto& each) { return std::string(each.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Samples, DamagedBoxes,
    testing::Values(
        Damage{"durations_count", Source::Mpeg4, pictures + "stts", 11, {19}, "of which there are 20"},
        Damage{"durations_sum", Source::Mpeg4, pictures + "stts", 15, {1}, "sums up to"},
        Damage{"durations_entries", Source::Mpeg4, pictures + "stts", 7, {2}, "another number of entries"},
        Damage{"reorders_count", Source::Reordered, pictures + "ctts", 11, {9}, "ctts"},
        Damage{"sizes_count", Source::Mpeg4, pictures + "stsz", 11, {19}, "another number of sizes"},
        Damage{"size_zero", Source::Mpeg4, pictures + "stsz", 12, {0, 0, 0, 0}, "without bytes"},
        Damage{"size_too_small", Source::Mpeg4, pictures + "stsz", 12, {0, 0, 0, 9}, "sample 1 of track 1"},
        Damage{"chunk_order", Source::Mpeg4, pictures + "stsc", 11, {2}, "chunks out of order"},
        Damage{"chunk_length", Source::Mpeg4, pictures + "stsc", 15, {77}, "samples in chunks"},
        Damage{"chunk_description", Source::Mpeg4, pictures + "stsc", 19, {2}, "unknown sample description"},
        Damage{"chunk_outside", Source::Mpeg4, pictures + "stco", 8, {0x7f}, "lies outside the media"},
        Damage{
            "chunk_in_header", Source::Mpeg4, pictures + "stco", 8, {0, 0, 0, 8}, "lies outside the media"},
        Damage{"no_places", Source::Mpeg4, pictures + "stco", -4, ascii("free"), "one of “stco” and “co64”"},
        Damage{"sync_beyond", Source::Mpeg4, pictures + "stss", 11, {21}, "lists sample 21"},
        Damage{"sync_wrong", Source::Mpeg4, pictures + "stss", 15, {5}, "sync sample"},
        Damage{"all_sync", Source::Mpeg4, pictures + "stss", -4, ascii("sdtp"),
               "is a sync sample but needs others"},
        Damage{"roll_distance", Source::Mpeg4, sound + "sgpd", 17, {0xfe}, "another distance"},
        Damage{"roll_kind", Source::Mpeg4, sound + "sgpd", 4, ascii("prol"), "kind “roll”"},
        Damage{"roll_members", Source::Mpeg4, sound + "sbgp", 15, {1}, "isn't for all samples"},
        Damage{"roll_group", Source::Mpeg4, sound + "sbgp", 19, {0}, "outside the group"},
        Damage{"no_roll", Source::Mpeg4, sound + "sgpd", -4, ascii("sdtp"), "aren't described"}),
    [](const auto& each) { return std::string(each.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Fragments, DamagedBoxes,
    testing::Values(
        Damage{"no_extension", Source::Fragmented, "moov/mvex", -4, ascii("free"), "lacks “mvex”"},
        Damage{"defaults_of_none", Source::Fragmented, "moov/mvex/trex", 7, {9}, "lacks “trex” of track 1"},
        Damage{"defaults_description",
               Source::Fragmented,
               "moov/mvex/trex",
               11,
               {2},
               "unknown sample description"},
        Damage{"sequence", Source::Fragmented, "moof[2]/mfhd", 7, {1}, "has the number 1 after 1"},
        Damage{"track", Source::Fragmented, "moof/traf/tfhd", 7, {9}, "unknown track 9"},
        Damage{"header_flags", Source::Fragmented, "moof/traf/tfhd", 1, {0x42}, "unknown flags"},
        Damage{"time", Source::Fragmented, "moof[2]/traf/tfdt", 8, {0, 0, 0, 1}, "are over"},
        Damage{"no_time", Source::Fragmented, "moof[2]/traf/tfdt", -4, ascii("sdtp"), "lacks “tfdt”"},
        Damage{"data_before", Source::Fragmented, "moof[2]/traf/trun", 8, {0, 0, 0, 0}, "outside the media"},
        Damage{"data_behind", Source::Fragmented, "moof[2]/traf/trun", 8, {1}, "outside the media"},
        Damage{"run_flags", Source::Fragmented, "moof/traf/trun", 1, {0x80}, "unknown flags"},
        Damage{"run_count", Source::Fragmented, "moof/traf/trun", 7, {1}, "room for another number"},
        Damage{"no_media", Source::Fragmented, "mdat", -4, ascii("free"), "isn't followed by its media"}),
    [](const auto& each) { return std::string(each.param.name); });

// A sample's own bytes changed.
struct DamagedSample {
    const char* name;
    Source source;
    std::size_t track;
    std::size_t sample;
    int place;  // from the sample's beginning, or if negative from its end
    FileBytes bytes;
    const char* fault;
};

void PrintTo(const DamagedSample& damage, std::ostream* stream) {
    *stream << damage.name;
}

class DamagedSamples : public testing::TestWithParam<DamagedSample> {};

TEST_P(DamagedSamples, areFound) {
    const DamagedSample& damage = GetParam();
    const auto& file = Movies::shared()[damage.source];
    const MovieSample sample = readMovieBoxes(file).tracks.at(damage.track).samples.at(damage.sample);
    FileBytes bytes = readBytes(file);
    const auto begin = static_cast<std::ptrdiff_t>(sample.offset) + damage.place +
                       static_cast<std::ptrdiff_t>(damage.place < 0 ? sample.size : 0);
    std::copy(damage.bytes.begin(), damage.bytes.end(), bytes.begin() + begin);
    EXPECT_THAT(faultsOf(bytes), Contains(HasSubstr(damage.fault)));
}

INSTANTIATE_TEST_SUITE_P(
    Media, DamagedSamples,
    testing::Values(
        DamagedSample{"unit_too_long", Source::Mpeg4, 0, 3, 0, {1}, "NAL unit of an impossible length"},
        DamagedSample{"unit_empty", Source::Mpeg4, 0, 3, 0, {0, 0, 0, 0}, "NAL unit of an impossible length"},
        DamagedSample{"not_escaped", Source::Mpeg4, 0, 0, 40, {0, 0, 1}, "NAL unit that is none"},
        DamagedSample{"forbidden_bit", Source::Mpeg4, 0, 3, 4, {0xc1}, "NAL unit that is none"},
        DamagedSample{"parameter_set", Source::Mpeg4, 0, 3, 4, {0x67}, "belongs into the sample entry"},
        DamagedSample{"no_picture", Source::Mpeg4, 0, 3, 4, {0x06}, "has no picture"},
        DamagedSample{"sync_in_disguise", Source::Mpeg4, 0, 3, 4, {0x65}, "isn't a sync sample"},
        DamagedSample{"sync_in_disguise_hevc", Source::Hevc, 0, 3, 4, {0x26}, "isn't a sync sample"},
        DamagedSample{"layer_hevc", Source::Hevc, 0, 3, 5, {0}, "NAL unit that is none"},
        DamagedSample{"sync_fragmented", Source::Fragmented, 0, 5, 4, {0x41}, "sync sample"},
        DamagedSample{"sound_channels", Source::Mpeg4, 2, 9, 0, {0x01}, "doesn't begin as AAC"},
        DamagedSample{"sound_packaged", Source::Sound, 0, 9, 0, {0xff, 0xf1}, "doesn't begin as AAC"},
        DamagedSample{"sound_end", Source::Mpeg4, 1, 9, -2, {0, 0}, "doesn't end as AAC"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(MovieBoxes, findsBytesThatAreInNoBox) {
    FileBytes bytes = readBytes(Movies::shared()[Source::Mpeg4]);
    bytes.insert(bytes.end(), {0, 0, 0});
    EXPECT_THAT(faultsOf(bytes), Contains(HasSubstr("3 bytes that are no box")));
}

TEST(MovieBoxes, findsSamplesThatShareBytes) {
    FileBytes bytes = readBytes(Movies::shared()[Source::Mpeg4]);
    Faults none;
    const Box whole = readBoxes(bytes, false, none);
    const auto first = static_cast<std::ptrdiff_t>(find(whole, sound + "stco").contentOffset()) + 8;
    const auto other =
        static_cast<std::ptrdiff_t>(find(whole, "moov/trak[3]/mdia/minf/stbl/stco").contentOffset()) + 8;
    std::copy_n(bytes.begin() + first, 4, bytes.begin() + other);
    EXPECT_THAT(faultsOf(bytes), Contains(HasSubstr("shares bytes with")));
}

TEST(MovieBoxes, ofAFileThatWasCutOffOnlyTheEndIsMissing) {
    const FileBytes bytes = readBytes(Movies::shared()[Source::Fragmented]);
    const auto whole = readMovieBoxes(Movies::shared()[Source::Fragmented]);
    Faults none;
    const Box boxes = readBoxes(bytes, false, none);
    const auto media = static_cast<std::size_t>(find(boxes, "moof").offset);
    const StageFolder folder;
    const auto file = folder.path() / "cut.mp4";
    std::size_t most = 0;
    for (std::size_t length = media; length < bytes.size(); length += 97) {
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(length));
        const MovieBoxes cut = readMovieBoxes(file, Ending::CutOff);
        ASSERT_THAT(cut.faults, knownFaults) << length;
        const std::size_t found = cut.tracks[0].samples.size();
        ASSERT_GE(found, most);
        ASSERT_EQ(found % 5, 0U) << "part of a fragment was taken";
        most = found;
    }
    EXPECT_EQ(most, whole.tracks[0].samples.size());
    EXPECT_THAT(stage::faultsOf(file), testing::Not(knownFaults)) << "cut off, but taken for whole";
}

TEST(MovieBoxes, readsAnythingToTheEnd) {
    constexpr int rounds = 60;
    std::mt19937 random(1);
    for (const auto& [source, file] : Movies::shared().all()) {
        const FileBytes whole = readBytes(file);
        for (int round = 0; round < rounds; ++round) {
            FileBytes bytes = whole;
            for (int i = 0; i < 1 + round % 20; ++i) {
                bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
            }
            bytes.resize(bytes.size() - random() % 2 * (random() % bytes.size()));
            EXPECT_NO_THROW(faultsOf(bytes, round % 2 == 0 ? Ending::Whole : Ending::CutOff));
        }
    }
}

}  // namespace

}  // namespace lumicrate::stage
