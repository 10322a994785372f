#include "Tests/Stage/MovieBoxes.h"

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/Movie/BoxRules.h"
#include "Tests/Stage/Movie/Durations.h"
#include "Tests/Stage/Movie/Fragments.h"
#include "Tests/Stage/Movie/Headers.h"
#include "Tests/Stage/Movie/Media.h"
#include "Tests/Stage/Movie/SampleTables.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

// A file's bytes without reading all of them at once: recordings may be larger than memory.
class MappedFile {
 public:
    explicit MappedFile(const std::filesystem::path& path) {
        const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct stat status {};
        if (file.get() < 0 || fstat(file.get(), &status) != 0)
            throw std::runtime_error("Could not read " + path.string());
        size_ = static_cast<std::size_t>(status.st_size);
        if (size_ == 0) return;
        memory_ = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file.get(), 0);
        if (memory_ == MAP_FAILED) throw std::runtime_error("Could not map " + path.string());
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile() {
        if (size_ > 0) munmap(memory_, size_);
    }

    ByteSpan bytes() const { return {static_cast<const std::uint8_t*>(memory_), size_}; }

 private:
    void* memory_ = nullptr;
    std::size_t size_ = 0;
};

class Examination {
 public:
    Examination(ByteSpan file, Ending ending)
        : file_(file),
          mayBeCutOff_(ending == Ending::CutOff),
          whole_(readBoxes(file, mayBeCutOff_, faults_)) {}

    MovieBoxes examine() {
        for (const Box& box : whole_.children) {
            result_.boxes.push_back(box.type);
        }
        const Box* moov = whole_.child("moov");
        form_.isFragmented =
            whole_.child("moof") != nullptr || (moov != nullptr && moov->child("mvex") != nullptr);
        result_.isFragmented = form_.isFragmented;
        if (const Box* ftyp = whole_.child("ftyp"))
            faults_.within(*ftyp, [&] { result_.brand = examineFileType(*ftyp, faults_); });
        form_.isQuickTime = result_.brand == "qt  ";
        examineBoxes(whole_, form_, faults_);
        if (moov != nullptr) examineMovie(*moov);
        result_.faults = faults_.sentences();
        return std::move(result_);
    }

 private:
    void examineMovie(const Box& moov) {
        MovieFacts movie;
        if (const Box* mvhd = moov.child("mvhd"))
            faults_.within(*mvhd, [&] { movie = examineMovieHeader(*mvhd, faults_); });
        std::vector<TrackFacts> tracks;
        for (const Box* trak : moov.all("trak")) {
            tracks.push_back(examineTrack(*trak, form_, faults_));
            examineSampleTables(tracks.back(), faults_);
        }
        examineNumbers(moov, movie, tracks);
        if (const Box* mvex = moov.child("mvex")) {
            examineFragmentDefaults(*mvex, tracks, faults_);
            examineFragments(whole_, mayBeCutOff_, tracks, faults_);
        }
        examineMediaBytes(whole_, file_, tracks, faults_);
        examineDurations(moov, movie, tracks, form_.isFragmented, faults_);
        result_.created = movie.created;
        for (const TrackFacts& track : tracks) {
            faults_.require(form_.isFragmented || !track.samples.empty(), *track.trak, "has no samples");
            faults_.require(result_.brand != "M4A " || !track.isVideo(), *track.trak,
                            "has pictures in a file for sound");
            result_.tracks.push_back(presented(track, movie));
            result_.duration = std::max(result_.duration, result_.tracks.back().presentedDuration);
        }
    }

    void examineNumbers(const Box& moov, const MovieFacts& movie, const std::vector<TrackFacts>& tracks) {
        constexpr std::uint32_t notTold = 0xffffffff;
        std::set<std::uint32_t> ids;
        for (const TrackFacts& track : tracks) {
            faults_.require(ids.insert(track.id).second, *track.trak,
                            "has the number of another track, " + std::to_string(track.id));
        }
        faults_.require(ids.empty() || movie.nextTrackId > *ids.rbegin() || movie.nextTrackId == notTold,
                        moov, "gives the next track the number of one that is there");
    }

    ByteSpan file_;
    bool mayBeCutOff_;
    Faults faults_;
    Box whole_;
    MovieForm form_;
    MovieBoxes result_;
};

std::vector<const MovieTrack*> filledTracks(const MovieBoxes& movie) {
    std::vector<const MovieTrack*> tracks;
    for (const MovieTrack& track : movie.tracks) {
        if (!track.samples.empty()) tracks.push_back(&track);
    }
    return tracks;
}

// In what two samples differ; empty if in nothing.
std::string difference(const MovieSample& one, const MovieSample& other, double tick, bool isLast) {
    if (one.size != other.size) return "size";
    if (one.hash != other.hash) return "bytes";
    if (one.isSync != other.isSync) return "being a sync sample";
    if (std::abs(one.time - other.time) > tick) return "time";
    if (!isLast && std::abs(one.duration - static_cast<double>(other.duration)) > 0) return "duration";
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
    // A movie's clock may round where a track begins.
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
    const MappedFile mapped(file);
    return Examination(mapped.bytes(), ending).examine();
}

std::vector<std::string> faultsOf(const std::filesystem::path& file, Ending ending) {
    return readMovieBoxes(file, ending).faults;
}

std::vector<std::string> differencesOf(const MovieBoxes& one, const MovieBoxes& other) {
    const auto left = filledTracks(one);
    const auto right = filledTracks(other);
    std::vector<std::string> differences;
    if (left.size() != right.size()) {
        differences.push_back("there are " + std::to_string(left.size()) + " and " +
                              std::to_string(right.size()) + " tracks");
        return differences;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        compareTracks(*left[i], *right[i], "track " + std::to_string(i + 1), differences);
    }
    return differences;
}

}  // namespace lumicrate::stage
