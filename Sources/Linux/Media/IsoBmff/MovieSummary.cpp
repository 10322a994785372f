// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/MovieSummary.h"

#include "Linux/Media/IsoBmff/TrackHeaders.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string_view>

namespace lumicrate::isobmff {

namespace {

/// A file with more tracks or a longer duration is damaged.
constexpr std::size_t maxTracks = 1000;
constexpr double maxSeconds = 100.0 * 366 * 24 * 60 * 60;

/// A file that begins with any other box has another format.
bool canBeFirst(const FileBox& box) {
    constexpr std::array<std::string_view, 8> types = {"ftyp", "moov", "mdat", "free",
                                                       "skip", "wide", "pnot", "styp"};
    return std::any_of(types.begin(), types.end(), [&box](std::string_view each) { return box.is(each); });
}

/// The content of the index.
struct MovieHeaders {
    double timescale = 0;        ///< ticks of the movie in a second
    double length = 0;           ///< movie's ticks
    bool fragmented = false;     ///< samples may follow that are not in the index
    double fragmentsLength = 0;  ///< movie's ticks, with all fragments; 0 if unknown
    std::vector<TrackHeaders> tracks;
};

void readMovieHeader(BoxReader mvhd, MovieHeaders& movie) {
    const bool wide = skipDates(mvhd);
    movie.timescale = mvhd.u32();
    movie.length = readTicks(mvhd, wide);
}

using SampleLengths = std::map<std::uint32_t, double>;

/// Reads the default duration of the fragments' samples, by track number.
SampleLengths readFragmentDefaults(HeaderFile& file, const FileBox& mvex, MovieHeaders& movie) {
    movie.fragmented = true;
    SampleLengths lengths;
    file.eachIn(mvex, [&](const FileBox& box) {
        if (box.is("mehd")) {
            BoxReader mehd = file.beginning(box, 12);
            const bool wide = mehd.fullBoxHeader().version == 1;
            movie.fragmentsLength = readTicks(mehd, wide);
        }
        if (!box.is("trex")) return;
        require(lengths.size() < maxTracks);
        BoxReader trex = file.beginning(box, 16);
        trex.skip(4);
        const std::uint32_t track = trex.u32();
        trex.skip(4);  // the sample description
        lengths[track] = trex.u32();
    });
    return lengths;
}

MovieHeaders readMovie(HeaderFile& file, const FileBox& moov) {
    MovieHeaders movie;
    SampleLengths sampleLengths;
    file.eachIn(moov, [&](const FileBox& box) {
        if (box.is("mvhd")) readMovieHeader(file.beginning(box, 32), movie);
        if (box.is("mvex")) sampleLengths = readFragmentDefaults(file, box, movie);
        if (!box.is("trak")) return;
        require(movie.tracks.size() < maxTracks);
        movie.tracks.push_back(readTrack(file, box));
    });
    require(movie.timescale > 0);
    for (TrackHeaders& each : movie.tracks)
        each.defaultSampleLength = sampleLengths[each.number];
    return movie;
}

/// Goes through the boxes of the file until the duration of the movie is known.
class FileWalk {
 public:
    explicit FileWalk(const ByteSource& source) : file_(source) {}

    SummaryReading run() {
        const auto first = file_.boxAt(0, file_.size());
        if (!first || !canBeFirst(*first)) return NoMovie();
        try {
            for (auto box = first; box && isWhole(*box) && !isDone();
                 box = file_.boxAt(box->end, file_.size()))
                add(*box);
        } catch (const Malformed&) {
            // Behind the index, this is the end of what can be read, for example after a power cut.
            if (!movie_) return NoMovie();
        }
        if (!movie_) return CutOffMovie();
        return summary();
    }

 private:
    bool isWhole(const FileBox& box) const { return box.end <= file_.size(); }
    bool isDone() const { return movie_ && (!movie_->fragmented || movie_->fragmentsLength > 0); }

    void add(const FileBox& box) {
        if (box.is("moov") && !movie_) movie_ = readMovie(file_, box);
        if (!box.is("moof") || !movie_) return;
        try {
            addFragment(file_, box, movie_->tracks);
        } catch (const Malformed&) {
            // Only this fragment is damaged.
        }
    }

    MovieSummary summary() const {
        MovieSummary summary;
        const double whole = std::max(movie_->length, movie_->fragmentsLength) / movie_->timescale;
        std::optional<double> longest;
        for (const TrackHeaders& each : movie_->tracks) {
            TrackSummary track = each.summary;
            track.duration = each.duration(movie_->timescale);
            if (movie_->fragmentsLength > 0) track.duration = std::max(track.duration, whole);
            require(track.duration <= maxSeconds);
            if (track.kind == fourCC("vide") || track.kind == fourCC("soun"))
                longest = std::max(longest.value_or(0), track.duration);
            summary.tracks.push_back(track);
        }
        summary.duration = longest.value_or(whole);
        require(summary.duration <= maxSeconds);
        return summary;
    }

    HeaderFile file_;
    std::optional<MovieHeaders> movie_;
};

}  // namespace

SummaryReading readMovieSummary(const ByteSource& file) {
    try {
        return FileWalk(file).run();
    } catch (const Malformed&) {
        return NoMovie();
    }
}

}  // namespace lumicrate::isobmff
