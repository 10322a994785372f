// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/MovieBoxes.h"

#include "Tests/Stage/Movie/Examination.h"

#include <algorithm>
#include <cmath>
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
        try {
            if (const Box* ftyp = whole_.child("ftyp")) examineFileType(*ftyp);
            form_ = {result_.brand == "qt  ", result_.isFragmented};
            examineBoxes(whole_, form_, faults_);
            if (const Box* moov = whole_.child("moov")) examineMovie(*moov);
        } catch (const std::out_of_range&) {
            faults_.add(whole_, "has a box that ends too early");
        }
        result_.faults = faults_.sentences();
        return std::move(result_);
    }

 private:
    void examineFileType(const Box& ftyp) {
        Bytes bytes(ftyp.content);
        result_.brand = bytes.text(4);
        bytes.take(4);  // the minor version
        bool isCompatible = false;
        while (bytes.left() > 0)
            isCompatible = bytes.text(4) == result_.brand || isCompatible;
        faults_.require(isCompatible, ftyp, "isn't compatible with its own brand");
    }

    void examineMovie(const Box& moov) {
        const Box* mvhd = moov.child("mvhd");
        if (mvhd == nullptr) return;
        std::vector<TrackFacts> tracks;
        std::set<std::uint64_t> ids;
        const std::uint64_t created = mvhd->field("created");
        const auto hasDate = [created](const Box* box) {
            return box == nullptr || (box->field("created") == created && box->field("modified") == created);
        };
        for (const Box* trak : moov.all("trak")) {
            tracks.push_back(examineTrack(*trak, form_, faults_));
            readSampleTables(tracks.back(), faults_);
            const bool hasDates =
                hasDate(mvhd) && hasDate(trak->child("tkhd")) && hasDate(trak->find("mdia/mdhd"));
            faults_.require(hasDates, *trak, "has other dates than the movie");
            faults_.require(ids.insert(tracks.back().id).second, *trak, "has the number of another track");
        }
        faults_.require(ids.empty() || mvhd->field("next") > *ids.rbegin(), *mvhd,
                        "has a used number as next");
        readFragments(whole_, mayBeCutOff_, tracks, faults_);
        examineMedia(whole_, file_, tracks, faults_);
        examineDurations(*mvhd, tracks, result_.isFragmented, faults_);
        // Seconds from 1904, the epoch of the format, to 1970.
        result_.created = static_cast<std::int64_t>(created) - 2'082'844'800;
        for (const TrackFacts& track : tracks) {
            result_.tracks.push_back(presented(track, mvhd->field("timescale")));
            result_.duration = std::max(result_.duration, result_.tracks.back().presentedDuration);
        }
    }

    ByteSpan file_;
    bool mayBeCutOff_;
    Faults faults_;
    Box whole_;
    MovieForm form_;
    MovieBoxes result_;
};

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
    const auto tracksOf = [](const MovieBoxes& movie) {
        std::vector<MovieTrack> tracks = movie.tracks;
        std::erase_if(tracks, [](const MovieTrack& track) { return track.samples.empty(); });
        return tracks;
    };
    const std::vector<MovieTrack> tracks = tracksOf(one);
    const std::vector<MovieTrack> others = tracksOf(other);
    if (tracks.size() != others.size()) return {"the number of tracks"};
    std::vector<std::string> differences;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const std::vector<MovieSample>& samples = tracks[i].samples;
        const std::string name = "track " + std::to_string(i + 1);
        if (tracks[i].handler != others[i].handler || tracks[i].timescale != others[i].timescale ||
            tracks[i].name != others[i].name || samples.size() != others[i].samples.size()) {
            differences.push_back(name);
            continue;
        }
        // A movie's clock may round the beginning of a track.
        const double tick = 1.0 / std::max(tracks[i].timescale, 1U) + 1e-5;
        for (std::size_t j = 0; j < samples.size(); ++j) {
            const MovieSample& sample = others[i].samples[j];
            const bool isLast = j + 1 == samples.size();
            if (sample.size != samples[j].size || sample.hash != samples[j].hash ||
                sample.isSync != samples[j].isSync || std::abs(sample.time - samples[j].time) > tick ||
                (!isLast && sample.duration != samples[j].duration))
                differences.push_back("sample " + std::to_string(j + 1) + " of " + name);
        }
    }
    return differences;
}

}  // namespace lumicrate::stage
