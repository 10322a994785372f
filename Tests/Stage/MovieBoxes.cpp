// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/MovieBoxes.h"

#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/MovieProbe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

// Sample flags: a sync sample doesn't depend on others.
constexpr std::uint64_t syncFlags = 0x02000000;
constexpr std::uint64_t otherFlags = 0x01010000;

// Of a sample of sound in fragments, in ticks.
constexpr std::uint32_t defaultDuration = 1024;

double seconds(std::uint64_t ticks, std::uint64_t timescale) {
    return timescale != 0 ? static_cast<double>(ticks) / static_cast<double>(timescale) : 0;
}

std::string letters(std::uint64_t number) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(number >> shift & 0xff);
    return text;
}

// What is wrong with a picture's sample; nothing if it is right.
std::string judgePicture(const MovieSample& sample, bool isAvc) {
    bool hasPicture = false;
    bool standsAlone = true;
    Bytes bytes(bytesOf(sample.bytes));
    while (bytes.left() > 0) {
        const std::uint32_t length = bytes.left() < 4 ? 0 : bytes.u32();
        if (length < 2 || length > bytes.left()) return "has a NAL unit of an impossible length";
        const int header = bytes.take(length)[0];
        const int type = isAvc ? header & 31 : header >> 1 & 63;
        if (isAvc ? type == 7 || type == 8 : type >= 32 && type <= 34) return "has a parameter set";
        if (isAvc ? type < 1 || type > 5 : type >= 32) continue;
        hasPicture = true;
        standsAlone = standsAlone && (isAvc ? type == 5 : type >= 16 && type <= 23);
    }
    if (!hasPicture) return "has no picture";
    return sample.isSync == standsAlone ? "" : "is a sync sample that needs others, or the reverse";
}

std::string judgeSound(const MovieSample& sample, bool isLast) {
    const bool lasts = sample.duration == 1024 || (isLast && sample.duration < 1024);
    return sample.isSync && lasts && sample.size <= 1536 ? "" : "isn't a sync sample of 1024 ticks of AAC";
}

struct Edit {
    std::uint64_t duration = 0;  // ticks of the movie
    std::int64_t mediaTime = 0;  // ticks of the track; -1 for an empty one

    bool isEmpty() const { return mediaTime < 0; }
};

// The headers, tables and samples of one track.
class TrackExamination {
 public:
    TrackExamination(const Box& trak, bool isQuickTime, Faults& faults) : trak_(trak), faults_(faults) {
        const Box* tkhd = trak.child("tkhd");
        const Box* mdhd = trak.find("mdia/mdhd");
        const Box* hdlr = trak.find("mdia/hdlr");
        const Box* minf = trak.find("mdia/minf");
        if (tkhd == nullptr || mdhd == nullptr || hdlr == nullptr || minf == nullptr) return;
        track.id = static_cast<std::uint32_t>(tkhd->field("id"));
        track.handler = letters(hdlr->field("handler"));
        track.name.assign(hdlr->content.begin(), hdlr->content.end());
        track.timescale = static_cast<std::uint32_t>(mdhd->field("timescale"));
        duration = tkhd->field("duration");
        mediaDuration_ = mdhd->field("duration");
        faults.require(track.isVideo() || track.isSound() || track.isMetadata(), *hdlr,
                       "is of an unknown kind");
        faults.require(tkhd->field("volume") == (track.isSound() ? 0x100 : 0), *tkhd, "has a wrong volume");
        // Players ignore tracks that are not enabled.
        faults.require(tkhd->field("flags") == (track.isMetadata() ? 0 : 3), *tkhd, "has wrong flags");
        faults.require(track.timescale != 0, *mdhd, "has no time scale");
        examineHandlers(*minf, *hdlr, isQuickTime);
        if (const Box* stsd = minf->find("stbl/stsd")) examineEntry(*stsd, *tkhd);
        if (const Box* elst = trak.find("edts/elst")) readEdits(*elst);
    }

    // Those that lie before `end`: later ones belong to an incomplete fragment. Each lasts until the next,
    // and the last as long as its table or run says.
    void takeSamples(const std::vector<Packet>& packets, std::uint64_t end) {
        for (const Packet& packet : packets) {
            const auto offset = static_cast<std::uint64_t>(packet.offset);
            if (offset >= end) return;
            const std::int64_t time = std::llround(packet.pts * track.timescale);
            if (!track.samples.empty()) {
                MovieSample& last = track.samples.back();
                last.duration = static_cast<std::uint32_t>(time - last.mediaTime);
            }
            track.samples.push_back({offset, static_cast<std::uint32_t>(packet.size), time, 0, packet.isKey,
                                     packet.bytes, packet.pts});
        }
    }
    void examineSamples(const std::vector<const Box*>& media) const {
        double last = -1e9;
        for (const MovieSample& sample : track.samples) {
            const std::string name = "the sample at " + std::to_string(sample.offset) + " ";
            const bool isInside = std::ranges::any_of(media, [&](const Box* mdat) {
                return sample.offset >= mdat->contentOffset() && sample.offset + sample.size <= mdat->end();
            });
            faults_.require(isInside, trak_, name + "lies outside the media");
            faults_.require(sample.size > 0 && sample.time > last, trak_,
                            name + "is empty or comes too early");
            const std::string fault = judge(sample);
            faults_.require(fault.empty(), trak_, name + fault);
            last = sample.time;
        }
    }
    void examineTables() {
        const Box* stbl = trak_.find("mdia/minf/stbl");
        if (stbl == nullptr) return;
        requireAll(*stbl, stbl->child("stsz"));
        std::uint64_t count = 0;
        std::uint64_t ticks = 0;
        for (const auto& row : rowsOf(stbl->child("stts"), {4, 4})) {
            count += row[0];
            ticks += row[0] * row[1];
            if (!track.samples.empty()) track.samples.back().duration = static_cast<std::uint32_t>(row[1]);
        }
        faults_.require(count == track.samples.size(), *stbl, "has durations of another number of samples");
        faults_.require(ticks == mediaDuration_, *stbl, "has another duration than the media's header");
        const Box* offsets = stbl->child("stco") != nullptr ? stbl->child("stco") : stbl->child("co64");
        if (offsets == nullptr) return faults_.add(*stbl, "doesn't have one of “stco” and “co64”");
        const auto chunks = rowsOf(stbl->child("stsc"), {4, 4, 4});
        count = 0;
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            const std::uint64_t end = i + 1 < chunks.size() ? chunks[i + 1][0] : offsets->field("count") + 1;
            count += (end - chunks[i][0]) * chunks[i][1];
            faults_.require(chunks[i][2] == 1, *stbl, "has chunks of an unknown kind");
        }
        faults_.require(count == track.samples.size(), *stbl, "has chunks of another number of samples");
        if (track.isSound() && !track.samples.empty()) requireAll(*stbl, stbl->child("sbgp"));
    }
    // The fragments' runs of this track, and its entry in "mvex".
    void examineRuns(const Box& mvex, const std::vector<const Box*>& runs) {
        const auto defaults = mvex.all("trex");
        const bool fits = std::ranges::count_if(defaults, [&](const Box* trex) {
                              return trex->field("id") == track.id &&
                                     trex->field("flags") == (track.isSound() ? syncFlags : otherFlags) &&
                                     trex->field("duration") == (track.isSound() ? defaultDuration : 0);
                          }) == 1;
        faults_.require(fits, mvex, "lacks what the samples of track " + std::to_string(track.id) + " need");
        std::uint64_t count = 0;
        for (const Box* traf : runs) {
            const Box* trun = traf->child("trun");
            const Box* sbgp = traf->child("sbgp");
            if (trun == nullptr) continue;
            count += trun->field("count");
            faults_.require(track.isSound() ? sbgp != nullptr && sbgp->field("count") == trun->field("count")
                                            : sbgp == nullptr,
                            *traf, "lacks the roll group");
            examineRun(*trun);
        }
        faults_.require(count == track.samples.size(), trak_, "has runs of another number of samples");
        faults_.require(mediaDuration_ == 0, trak_, "has a duration before its fragments");
    }
    // In a plain file all durations are known.
    void examineDuration(std::uint64_t timescale) const {
        // Either clock may have been rounded.
        const double tolerance = seconds(1, timescale) + seconds(1, track.timescale);
        const double media = seconds(mediaDuration_, track.timescale);
        if (edits_.empty()) {
            faults_.require(std::abs(seconds(duration, timescale) - media) <= tolerance, trak_,
                            "has another duration than its media");
            return;
        }
        std::uint64_t sum = 0;
        for (const Edit& edit : edits_) {
            sum += edit.duration;
            const double end =
                seconds(edit.isEmpty() ? 0 : static_cast<std::uint64_t>(edit.mediaTime), track.timescale) +
                seconds(edit.duration, timescale);
            faults_.require(edit.isEmpty() || end <= media + tolerance, trak_,
                            "has an edit beyond the media's end");
        }
        faults_.require(sum == duration, trak_, "has another duration than its edits");
    }

    MovieTrack track;
    std::uint64_t duration = 0;  // ticks of the movie

 private:
    std::string judge(const MovieSample& sample) const {
        if (track.isVideo()) return judgePicture(sample, isAvc_);
        if (track.isSound()) return judgeSound(sample, &sample == &track.samples.back());
        return sample.bytes.starts_with("{") && sample.bytes.ends_with("}") ? "" : "isn't an object";
    }
    void examineHandlers(const Box& minf, const Box& hdlr, bool isQuickTime) const {
        const std::string expected = track.isVideo() ? "vmhd" : track.isSound() ? "smhd" : "nmhd";
        const bool hasHeader = std::ranges::all_of(std::array{"vmhd", "smhd", "nmhd"}, [&](const char* type) {
            return (minf.child(type) != nullptr) == (type == expected);
        });
        faults_.require(hasHeader, minf, "doesn't have the header of its handler");
        const Box* sgpd = minf.find("stbl/sgpd");
        // A decoder of AAC must begin one sample before what is heard.
        faults_.require((sgpd != nullptr) == track.isSound(), minf, "lacks the roll group of sound");
        if (!isQuickTime) return;
        const Box* data = minf.child("hdlr");
        const bool hasHandlers = letters(hdlr.field("component")) == "mhlr" && data != nullptr &&
                                 letters(data->field("component")) == "dhlr" &&
                                 letters(data->field("handler")) == "url ";
        faults_.require(hasHandlers, minf, "lacks a handler of the media or the data");
    }
    void examineEntry(const Box& stsd, const Box& tkhd) {
        if (stsd.children.size() != 1) return faults_.add(stsd, "doesn't have exactly one entry");
        const Box& entry = stsd.children.front();
        isAvc_ = entry.type == "avc1";
        const bool isOfKind =
            (entry.type == "mp4a") == track.isSound() && (entry.type == "mett") == track.isMetadata();
        faults_.require(isOfKind, stsd, "has samples of another kind");
        for (const char* side : {"width", "height"})
            faults_.require(tkhd.field(side) == entry.field(side) << 16, tkhd,
                            "has another size than the pictures");
        if (const Box* avcC = entry.child("avcC"))
            faults_.require(avcC->field("profile") == avcC->field("sequence"), *avcC,
                            "differs from its parameters");
        const Box* esds = entry.find(entry.child("wave") != nullptr ? "wave/esds" : "esds");
        if (esds == nullptr) return;
        // Five bits: AAC of low complexity; four: the sample rate, 3 for 48 kHz; four: channels; three: zero.
        const std::uint64_t expected = 2 << 11 | 3 << 7 | entry.field("channels") << 3;
        faults_.require(esds->field("configuration") == expected, *esds, "has another format than its entry");
        faults_.require(entry.field("rate") == 48000 && track.timescale == 48000, entry, "has another rate");
        faults_.require(esds->field("average") == esds->field("maximum"), *esds, "has two bit rates");
    }
    void readEdits(const Box& elst) {
        const bool isWide = !elst.content.empty() && elst.content[0] == 1;
        const std::size_t width = isWide ? 8 : 4;
        for (const auto& row : rowsOf(&elst, {width, width, 4})) {
            const auto time = isWide ? static_cast<std::int64_t>(row[1]) : static_cast<std::int32_t>(row[1]);
            edits_.push_back({row[0], time});
            faults_.require(time >= -1 && row[2] == 0x10000 && (time >= 0 || row[0] > 0), elst,
                            "has an impossible edit");
        }
        faults_.require(elst.content.size() == 8 + edits_.size() * (2 * width + 4) &&
                            edits_.size() == elst.field("count"),
                        elst, "has another number of rows than its count");
        faults_.require(
            std::ranges::count_if(edits_, [](const Edit& edit) { return !edit.isEmpty(); }) == 1 &&
                !edits_.back().isEmpty(),
            elst, "isn't one range of media after empty edits");
    }
    void requireAll(const Box& stbl, const Box* table) const {
        faults_.require(table != nullptr && table->field("count") == track.samples.size(), stbl,
                        "lacks a table, or has one for another number of samples");
    }
    void examineRun(const Box& trun) {
        const std::uint64_t flags = trun.field("flags");
        const bool hasDurations = (flags & 0x100) != 0;
        const bool hasFields = (flags & ~0x100U) == (track.isSound() ? 0x201 : 0x601);
        faults_.require(hasFields && (hasDurations || track.isSound()), trun, "has other fields");
        const std::size_t width = 4U + (hasDurations ? 4 : 0) + (track.isSound() ? 0 : 4);
        if (trun.field("count") == 0 || trun.content.size() != 12 + trun.field("count") * width)
            return faults_.add(trun, "has another number of samples than its count");
        if (!track.samples.empty())
            track.samples.back().duration =
                hasDurations ? Bytes(trun.content.last(width)).u32() : defaultDuration;
        for (std::size_t end = 24; !track.isSound() && end <= trun.content.size(); end += width) {
            const std::uint32_t sampleFlags = Bytes(trun.content.subspan(end - 4)).u32();
            faults_.require(sampleFlags == syncFlags || sampleFlags == otherFlags, trun,
                            "has other sample flags");
        }
    }

    const Box& trak_;
    Faults& faults_;
    bool isAvc_ = false;
    std::uint64_t mediaDuration_ = 0;  // ticks of the track
    std::vector<Edit> edits_;
};

class MovieExamination {
 public:
    MovieExamination(const std::filesystem::path& file, ByteSpan content, Ending ending)
        : file_(file),
          mayBeCutOff_(ending == Ending::CutOff),
          whole_(readBoxes(content, mayBeCutOff_, faults_)),
          end_(content.size()) {}

    MovieBoxes examine() {
        for (const Box& box : whole_.children)
            result_.boxes.push_back(box.type);
        result_.isFragmented = whole_.child("moof") != nullptr || whole_.find("moov/mvex") != nullptr;
        try {
            if (const Box* ftyp = whole_.child("ftyp")) examineFileType(*ftyp);
            isQuickTime_ = result_.brand == "qt  ";
            examineBoxes(whole_, {isQuickTime_, result_.isFragmented}, faults_);
            examineFragments();
            if (const Box* moov = whole_.child("moov")) examineMovie(*moov);
        } catch (const std::exception& error) {
            faults_.add(whole_, error.what());
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

    // Finds the runs of each track. In a file that may be cut off, an incomplete last fragment is left out.
    void examineFragments() {
        std::uint64_t count = 0;
        for (auto moof = whole_.children.begin(); moof != whole_.children.end(); ++moof) {
            if (moof->type != "moof") continue;
            const auto media = std::next(moof);
            const bool hasMedia = media != whole_.children.end() && media->type == "mdat";
            const bool isWhole = moof->isWhole && hasMedia && media->isWhole;
            if (mayBeCutOff_ && !isWhole) {
                end_ = moof->offset;
                return;
            }
            faults_.require(hasMedia, *moof, "isn't followed by its media");
            const Box* mfhd = moof->child("mfhd");
            faults_.require(mfhd != nullptr && mfhd->field("sequence") == ++count, *moof, "is out of order");
            for (const Box* traf : moof->all("traf")) {
                const Box* tfhd = traf->child("tfhd");
                if (tfhd != nullptr) runs_[tfhd->field("id")].push_back(traf);
            }
        }
    }

    void examineMovie(const Box& moov) {
        const Box* mvhd = moov.child("mvhd");
        const std::vector<const Box*> traks = moov.all("trak");
        if (mvhd == nullptr || traks.empty()) return;
        const std::uint64_t created = mvhd->field("created");
        // Seconds from 1904, the epoch of the format, to 1970.
        result_.created = static_cast<std::int64_t>(created) - 2'082'844'800;
        const auto samples = packetsOf(file_);
        std::set<std::uint64_t> ids;
        std::uint64_t longest = 0;
        for (std::size_t i = 0; i < traks.size(); ++i) {
            const Box& trak = *traks[i];
            for (const Box* box : {mvhd, trak.child("tkhd"), trak.find("mdia/mdhd")})
                faults_.require(
                    box == nullptr || (box->field("created") == created && box->field("modified") == created),
                    trak, "has other dates than the movie");
            TrackExamination examination(trak, isQuickTime_, faults_);
            examination.takeSamples(samples.at(i), end_);
            examine(examination, mvhd->field("timescale"));
            longest = std::max(longest, examination.duration);
            MovieTrack& track = examination.track;
            faults_.require(ids.insert(track.id).second, trak, "has the number of another track");
            // A movie in progress does not say where it ends.
            track.presentedDuration =
                examination.duration > 0 || track.samples.empty()
                    ? seconds(examination.duration, mvhd->field("timescale"))
                    : track.samples.back().time + seconds(track.samples.back().duration, track.timescale);
            result_.tracks.push_back(std::move(track));
        }
        faults_.require(mvhd->field("next") > *ids.rbegin(), *mvhd, "has a used number as next");
        faults_.require(mvhd->field("duration") == longest, *mvhd,
                        "has another duration than the longest track");
    }

    void examine(TrackExamination& examination, std::uint64_t timescale) {
        if (const Box* mvex = whole_.find("moov/mvex")) {
            examination.examineRuns(*mvex, runs_[examination.track.id]);
        } else {
            examination.examineTables();
            examination.examineDuration(timescale);
        }
        examination.examineSamples(whole_.all("mdat"));
    }

    const std::filesystem::path& file_;
    bool mayBeCutOff_;
    Faults faults_;
    Box whole_;
    std::uint64_t end_;  // of what is examined
    bool isQuickTime_ = false;
    std::map<std::uint64_t, std::vector<const Box*>> runs_;  // by the tracks' numbers: "traf"
    MovieBoxes result_;
};

}  // namespace

bool MovieBoxes::indexInFront() const {
    const auto index = std::ranges::find(boxes, "moov");
    const auto media = std::ranges::find(boxes, "mdat");
    return !isFragmented && index < media && media != boxes.end();
}

MovieBoxes readMovieBoxes(const std::filesystem::path& file, Ending ending) {
    const std::string content = test::readText(file);
    return MovieExamination(file, bytesOf(content), ending).examine();
}

std::vector<std::string> faultsOf(const std::filesystem::path& file, Ending ending) {
    return readMovieBoxes(file, ending).faults;
}

std::vector<std::string> differencesOf(const MovieBoxes& one, const MovieBoxes& other) {
    std::vector<MovieTrack> tracks = one.tracks;
    std::vector<MovieTrack> others = other.tracks;
    for (auto* all : {&tracks, &others})
        std::erase_if(*all, [](const MovieTrack& track) { return track.samples.empty(); });
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
            if (sample.bytes != samples[j].bytes || sample.isSync != samples[j].isSync ||
                std::abs(sample.time - samples[j].time) > tick ||
                (!isLast && sample.duration != samples[j].duration))
                differences.push_back("sample " + std::to_string(j + 1) + " of " + name);
        }
    }
    return differences;
}

}  // namespace lumicrate::stage
