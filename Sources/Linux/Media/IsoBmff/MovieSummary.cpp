// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/MovieSummary.h"

#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/IsoBmff/HeaderFile.h"
#include "Linux/Media/IsoBmff/SampleEntry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string_view>

namespace lumicrate::isobmff {

namespace {

/// The headers of one track. Times in ticks of the track or of the movie, as floating-point numbers, which
/// cannot overflow.
struct TrackHeaders {
    std::uint32_t number = 0;
    TrackSummary summary;    ///< all but the duration
    double timescale = 0;    ///< ticks of the track in a second
    double mediaLength = 0;  ///< track's ticks, of the samples in the index
    double length = 0;       ///< movie's ticks, from the track's header

    /// The edit list, if there is one.
    struct Edits {
        double length = 0;                ///< movie's ticks, sum of the edits with a length
        std::optional<double> openStart;  ///< track's ticks, start of an edit up to the end of the media
    };
    std::optional<Edits> edits;

    double defaultSampleLength = 0;  ///< track's ticks, unless a fragment has its own
    double decodeTime = 0;           ///< track's ticks, end of the fragments so far
    double fragmentsEnd = 0;         ///< track's ticks, end of the last presented sample

    /// What is presented, seconds.
    double duration(double movieTimescale) const;
};

double TrackHeaders::duration(double movieTimescale) const {
    const double mediaEnd = std::max(mediaLength, fragmentsEnd) / timescale;
    if (!edits) return mediaEnd > 0 ? mediaEnd : length / movieTimescale;
    double seconds = edits->length / movieTimescale;
    if (edits->openStart) seconds += std::max(0.0, mediaEnd - *edits->openStart / timescale);
    return seconds;
}

/// A length or time of 64 or 32 bits; all bits set mean unknown, read as 0.
double readTicks(BoxReader& reader, bool in64Bits) {
    const std::uint64_t ticks = reader.wide(in64Bits);
    const std::uint64_t unknown =
        in64Bits ? std::numeric_limits<std::uint64_t>::max() : std::numeric_limits<std::uint32_t>::max();
    return ticks == unknown ? 0 : static_cast<double>(ticks);
}

/// More than any of the headers read here has.
constexpr std::uint64_t maxHeaderSize = 128;

double fixed(BoxReader& reader) {
    return static_cast<std::int32_t>(reader.u32()) / 65536.0;
}

/// The displayed size: rotated and scaled by the track's matrix.
void readShownSize(BoxReader& tkhd, TrackSummary& track) {
    const double a = fixed(tkhd);
    const double b = fixed(tkhd);
    tkhd.skip(4);
    const double c = fixed(tkhd);
    const double d = fixed(tkhd);
    tkhd.skip(16);
    const double width = tkhd.u32() / 65536.0;
    const double height = tkhd.u32() / 65536.0;
    track.width = std::abs(a * width + c * height);
    track.height = std::abs(b * width + d * height);
}

void readTrackHeader(BoxReader tkhd, TrackHeaders& track) {
    const bool wide = tkhd.skipDates();
    track.number = tkhd.u32();
    tkhd.skip(4);
    track.length = readTicks(tkhd, wide);
    tkhd.skip(16);  // layer, group, volume and what is reserved
    readShownSize(tkhd, track.summary);
}

void readMediaHeader(BoxReader mdhd, TrackHeaders& track) {
    const bool wide = mdhd.skipDates();
    track.timescale = mdhd.u32();
    track.mediaLength = readTicks(mdhd, wide);
}

/// Reads one edit at a time, since there may be any number.
void readEdits(HeaderFile& file, const FileBox& elst, TrackHeaders& track) {
    BoxReader header = file.beginning(elst, 8);
    const bool wide = header.fullBoxHeader().version == 1;
    const std::uint64_t count = header.u32();
    const std::uint64_t editSize = wide ? 20 : 12;
    require(count <= (elst.end - elst.content - 8) / editSize);
    if (count == 0) return;
    TrackHeaders::Edits edits;
    for (std::uint64_t i = 0; i < count; ++i) {
        BoxReader edit(file.bytes(elst.content + 8 + i * editSize, editSize));
        const double length = readTicks(edit, wide);
        const std::uint64_t start = edit.wide(wide);
        const bool empty = start == (wide ? ~0ULL : 0xffffffffULL);
        edits.length += length;
        if (length == 0 && !empty) edits.openStart = static_cast<double>(start);
    }
    track.edits = edits;
}

/// A damaged entry does not make the movie unreadable.
void readMimeType(const BoxReader& entry, TrackSummary& track) {
    try {
        track.mimeType = readTextMetadataEntry(entry).mimeType;
    } catch (const Malformed&) {
        track.mimeType.clear();
    }
}

/// `stsd` is the list of sample entries.
void readSampleEntry(HeaderFile& file, const FileBox& stsd, TrackSummary& track) {
    const auto entry = file.boxAt(stsd.content + 8, stsd.end);
    if (!entry) return;
    track.format = entry->type;
    if (entry->is("mett")) readMimeType(file.beginning(*entry, maxHeaderSize), track);
    const bool sized = track.width > 0 && track.height > 0;
    if (track.kind != fourCC("vide") || sized) return;
    // The track header has no size.
    BoxReader fields = file.beginning(*entry, 28);
    fields.skip(24);
    track.width = fields.u16();
    track.height = fields.u16();
}

void readMedia(HeaderFile& file, const FileBox& mdia, TrackHeaders& track) {
    std::optional<FileBox> stsd;
    file.eachIn(mdia, [&](const FileBox& box) {
        if (box.is("mdhd")) readMediaHeader(file.beginning(box, maxHeaderSize), track);
        if (box.is("hdlr")) {
            BoxReader hdlr = file.beginning(box, maxHeaderSize);
            hdlr.skip(8);  // version, flags and component
            track.summary.kind = hdlr.u32();
        }
        if (!box.is("minf")) return;
        file.eachIn(box, [&](const FileBox& part) {
            if (!part.is("stbl")) return;
            file.eachIn(part, [&](const FileBox& table) {
                if (table.is("stsd")) stsd = table;
            });
        });
    });
    // Last, because it depends on the other headers.
    if (stsd) readSampleEntry(file, *stsd, track.summary);
}

/// `trak` is that box.
TrackHeaders readTrack(HeaderFile& file, const FileBox& trak) {
    TrackHeaders track;
    file.eachIn(trak, [&](const FileBox& box) {
        if (box.is("tkhd")) readTrackHeader(file.beginning(box, maxHeaderSize), track);
        if (box.is("mdia")) readMedia(file, box, track);
        if (!box.is("edts")) return;
        file.eachIn(box, [&](const FileBox& list) {
            if (list.is("elst")) readEdits(file, list, track);
        });
    });
    require(track.number > 0 && track.timescale > 0 && track.summary.kind != 0);
    if (track.summary.kind != fourCC("vide")) track.summary.width = track.summary.height = 0;
    track.decodeTime = track.mediaLength;
    return track;
}

// Fields of "tfhd" that its flags announce, in file order.
constexpr std::uint32_t hasBaseOffset = 0x01;
constexpr std::uint32_t hasDescription = 0x02;
constexpr std::uint32_t hasDefaultLength = 0x08;
// Fields of "trun" that our own fragments lack.
constexpr std::uint32_t hasFirstFlags = 0x004;
constexpr std::uint32_t hasDelays = 0x800;

/// One track's part of a fragment.
class TrackFragment {
 public:
    TrackFragment(HeaderFile& file, std::span<TrackHeaders> tracks) : file_(file), tracks_(tracks) {}

    void add(const FileBox& box) {
        if (box.is("tfhd")) begin(file_.beginning(box, 24));
        if (track_ == nullptr) return;
        if (box.is("tfdt")) {
            BoxReader tfdt = file_.beginning(box, 12);
            const bool wide = tfdt.fullBoxHeader().version == 1;
            track_->decodeTime = static_cast<double>(tfdt.wide(wide));
        }
        if (box.is("trun")) addRun(box);
    }

 private:
    void begin(BoxReader tfhd) {
        const std::uint32_t flags = tfhd.fullBoxHeader().flags;
        const std::uint32_t number = tfhd.u32();
        const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                        [number](const TrackHeaders& each) { return each.number == number; });
        track_ = found == tracks_.end() ? nullptr : &*found;
        if (track_ == nullptr) return;
        if ((flags & hasBaseOffset) != 0) tfhd.skip(8);
        if ((flags & hasDescription) != 0) tfhd.skip(4);
        sampleLength_ = (flags & hasDefaultLength) != 0 ? tfhd.u32() : track_->defaultSampleLength;
    }

    void addRun(const FileBox& trun) {
        BoxReader header = file_.beginning(trun, 16);
        const FullBoxHeader kind = header.fullBoxHeader();
        const auto has = [&kind](std::uint32_t flag) -> std::uint64_t {
            return (kind.flags & flag) != 0 ? 1 : 0;
        };
        const std::uint64_t count = header.u32();
        if (has(runHasDurations) + has(hasDelays) == 0) {
            track_->decodeTime += static_cast<double>(count) * sampleLength_;
            extendTo(track_->decodeTime);
            return;
        }
        const std::uint64_t sampleSize =
            4 * (has(runHasDurations) + has(runHasSizes) + has(runHasFlags) + has(hasDelays));
        std::uint64_t at = trun.content + 8 + 4 * (has(runHasDataOffset) + has(hasFirstFlags));
        require(at <= trun.end && count <= (trun.end - at) / sampleSize);
        for (std::uint64_t i = 0; i < count; ++i, at += sampleSize) {
            BoxReader sample(file_.bytes(at, sampleSize));
            const double length = has(runHasDurations) != 0 ? sample.u32() : sampleLength_;
            sample.skip(4 * (has(runHasSizes) + has(runHasFlags)));
            const double delay = has(hasDelays) != 0 ? readDelay(sample, kind.version) : 0;
            extendTo(track_->decodeTime + length + delay);
            track_->decodeTime += length;
        }
    }

    static double readDelay(BoxReader& sample, std::uint32_t version) {
        const std::uint32_t delay = sample.u32();
        return version == 0 ? delay : static_cast<std::int32_t>(delay);
    }

    void extendTo(double time) { track_->fragmentsEnd = std::max(track_->fragmentsEnd, time); }

    HeaderFile& file_;
    std::span<TrackHeaders> tracks_;
    TrackHeaders* track_ = nullptr;
    double sampleLength_ = 0;
};

/// Extends the tracks by the fragment with this box "moof"; ignores tracks that are not in `tracks`. When it
/// throws Malformed, what precedes the damage has been added.
void addFragment(HeaderFile& file, const FileBox& moof, std::span<TrackHeaders> tracks) {
    file.eachIn(moof, [&](const FileBox& traf) {
        if (!traf.is("traf")) return;
        TrackFragment fragment(file, tracks);
        file.eachIn(traf, [&fragment](const FileBox& box) { fragment.add(box); });
    });
}

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
    const bool wide = mvhd.skipDates();
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
