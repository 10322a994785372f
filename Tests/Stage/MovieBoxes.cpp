#include "Tests/Stage/MovieBoxes.h"

#include "Tests/Stage/Movie/Examination.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <fstream>
#include <iterator>
#include <set>

namespace lumicrate::stage {

namespace {

class MovieExamination {
 public:
    MovieExamination(ByteSpan file, Ending ending)
        : file_(file),
          mayBeCutOff_(ending == Ending::CutOff),
          whole_(readBoxes(file, mayBeCutOff_, faults_)) {}

    MovieBoxes examine() {
        for (const Box& box : whole_.children)
            result_.boxes.push_back(box.type);
        result_.isFragmented = whole_.child("moof") != nullptr || whole_.find("moov/mvex") != nullptr;
        if (const Box* ftyp = whole_.child("ftyp")) faults_.within(*ftyp, [&] { examineFileType(*ftyp); });
        form_ = {result_.brand == "qt  ", result_.isFragmented};
        examineBoxes(whole_, form_, faults_);
        if (const Box* moov = whole_.child("moov")) examineMovie(*moov);
        result_.faults = faults_.sentences();
        return std::move(result_);
    }

 private:
    void examineFileType(const Box& ftyp) {
        static const std::set<std::string> known{"qt  ", "isom", "iso2", "iso4", "iso5", "iso6",
                                                 "avc1", "mp41", "mp42", "M4A ", "hvc1"};
        Bytes bytes(ftyp.content);
        result_.brand = bytes.text(4);
        bytes.take(4);  // the minor version
        bool isCompatible = false;
        while (bytes.left() > 0) {
            const std::string brand = bytes.text(4);
            isCompatible = isCompatible || brand == result_.brand;
            faults_.require(known.contains(brand), ftyp, "has the unknown brand “" + brand + "”");
        }
        faults_.require(isCompatible, ftyp, "isn't compatible with its own brand");
    }

    void examineMovie(const Box& moov) {
        const Box* mvhd = moov.child("mvhd");
        if (mvhd == nullptr) return;
        std::vector<TrackFacts> tracks;
        std::set<std::uint64_t> ids;
        examineDates(*mvhd);
        for (const Box* trak : moov.all("trak")) {
            tracks.push_back(examineTrack(*trak, form_, faults_));
            readSampleTables(tracks.back(), faults_);
            for (const char* path : {"tkhd", "mdia/mdhd"}) {
                if (const Box* box = trak->find(path)) examineDates(*box);
            }
            faults_.require(ids.insert(tracks.back().id).second, *trak, "has the number of another track");
        }
        faults_.require(ids.empty() || mvhd->field("next") > *ids.rbegin(), *mvhd,
                        "has the number of an existing track for the next one");
        readFragments(whole_, mayBeCutOff_, tracks, faults_);
        examineMedia(whole_, file_, tracks, faults_);
        examineDurations(*mvhd, tracks, result_.isFragmented, faults_);
        result_.created = static_cast<std::int64_t>(mvhd->field("created")) - epochShift;
        for (const TrackFacts& track : tracks) {
            faults_.require(result_.isFragmented || !track.samples.empty(), *track.trak, "has no samples");
            faults_.require(result_.brand != "M4A " || !track.isVideo(), *track.trak,
                            "has pictures in an M4A file");
            result_.tracks.push_back(presented(track, mvhd->field("timescale")));
            result_.duration = std::max(result_.duration, result_.tracks.back().presentedDuration);
        }
    }

    // Zero means not known.
    void examineDates(const Box& box) {
        const auto now = static_cast<std::int64_t>(std::time(nullptr));
        for (const char* name : {"created", "modified"}) {
            const std::int64_t date = static_cast<std::int64_t>(box.field(name)) - epochShift;
            faults_.require(date == -epochShift || (date > 0 && date <= now), box, "has an impossible date");
        }
        faults_.require(box.field("modified") >= box.field("created"), box,
                        "was modified before it was created");
    }

    // Seconds from 1904, the epoch of the format, to 1970.
    static constexpr std::int64_t epochShift = 2'082'844'800;

    ByteSpan file_;
    bool mayBeCutOff_;
    Faults faults_;
    Box whole_;
    MovieForm form_;
    MovieBoxes result_;
};

// What differs between two samples; empty if nothing.
std::string difference(const MovieSample& one, const MovieSample& other, double tick, bool isLast) {
    if (one.size != other.size) return "size";
    if (one.hash != other.hash) return "bytes";
    if (one.isSync != other.isSync) return "being a sync sample";
    if (std::abs(one.time - other.time) > tick) return "time";
    if (!isLast && one.duration != other.duration) return "duration";
    return "";
}

void compareTracks(const MovieTrack& one, const MovieTrack& other, const std::string& name,
                   std::vector<std::string>& differences) {
    if (one.handler != other.handler || one.timescale != other.timescale || one.name != other.name)
        differences.push_back(name + " is another one");
    if (one.samples.size() != other.samples.size()) {
        differences.push_back(name + " has " + std::to_string(one.samples.size()) + " and " +
                              std::to_string(other.samples.size()) + " samples");
        return;
    }
    // A movie's clock may round the beginning of a track.
    const double tick = 1.0 / std::max(one.timescale, 1U) + 1e-5;
    for (std::size_t i = 0; i < one.samples.size(); ++i) {
        const auto what = difference(one.samples[i], other.samples[i], tick, i + 1 == one.samples.size());
        if (!what.empty())
            differences.push_back("sample " + std::to_string(i + 1) + " of " + name + " differs in its " +
                                  what);
    }
}

}  // namespace

bool MovieBoxes::indexInFront() const {
    const auto index = std::find(boxes.begin(), boxes.end(), "moov");
    const auto media = std::find(boxes.begin(), boxes.end(), "mdat");
    return !isFragmented && index < media && media != boxes.end();
}

MovieBoxes readMovieBoxes(const std::filesystem::path& file, Ending ending) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error("Could not read " + file.string());
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    return MovieExamination({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, ending)
        .examine();
}

std::vector<std::string> faultsOf(const std::filesystem::path& file, Ending ending) {
    return readMovieBoxes(file, ending).faults;
}

std::vector<std::string> differencesOf(const MovieBoxes& one, const MovieBoxes& other) {
    std::vector<std::string> differences;
    std::vector<const MovieTrack*> tracks[2];
    for (const MovieTrack& track : one.tracks) {
        if (!track.samples.empty()) tracks[0].push_back(&track);
    }
    for (const MovieTrack& track : other.tracks) {
        if (!track.samples.empty()) tracks[1].push_back(&track);
    }
    if (tracks[0].size() != tracks[1].size()) return {"there is another number of tracks"};
    for (std::size_t i = 0; i < tracks[0].size(); ++i)
        compareTracks(*tracks[0][i], *tracks[1][i], "track " + std::to_string(i + 1), differences);
    return differences;
}

}  // namespace lumicrate::stage
