// SPDX-License-Identifier: GPL-3.0-or-later
// The samples of a movie: those that the index lists, those of the fragments, and their bytes.
#include "Tests/Stage/Movie/Examination.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace lumicrate::stage {

namespace {

class SampleTables {
 public:
    SampleTables(TrackFacts& track, const Box& stbl, Faults& faults)
        : track_(track), faults_(faults), stbl_(stbl) {}

    void read() {
        for (const Row& row : rowsOf(stbl_.child("stsz"), {4}, faults_, 8)) {
            track_.samples.push_back({});
            track_.samples.back().size = static_cast<std::uint32_t>(row[0]);
            require(row[0] > 0, "has a sample without bytes");
        }
        readDurations();
        readSync();
        readPlaces();
        const Box* sbgp = stbl_.child("sbgp");
        // A decoder of AAC must begin one sample before what is heard.
        require((stbl_.child("sgpd") == nullptr) == track_.isVideo(), "lacks the roll group of sound");
        require((sbgp == nullptr) == (track_.isVideo() || track_.samples.empty()), "lacks a roll group");
        if (sbgp != nullptr) requireAll(sbgp->field("count"));
    }

 private:
    void require(bool isRight, const char* what) { faults_.require(isRight, stbl_, what); }
    void requireAll(std::uint64_t count) {
        require(count == track_.samples.size(), "has a table for another number of samples");
    }

    void readDurations() {
        std::size_t next = 0;
        std::uint64_t count = 0;
        for (const Row& row : rowsOf(stbl_.child("stts"), {4, 4}, faults_)) {
            require(row[0] > 0, "has durations of no sample");
            for (std::uint64_t i = 0; i < row[0] && next < track_.samples.size(); ++i, ++next) {
                track_.samples[next].duration = static_cast<std::uint32_t>(row[1]);
                track_.samples[next].mediaTime = static_cast<std::int64_t>(track_.nextTime);
                track_.nextTime += row[1];
            }
            count += row[0];
        }
        requireAll(count);
        require(track_.nextTime == track_.mediaDuration, "has another duration than the media's header");
    }

    void readSync() {
        const Box* stss = stbl_.child("stss");
        for (MovieSample& sample : track_.samples)
            sample.isSync = stss == nullptr;
        std::uint64_t last = 0;
        for (const Row& row : rowsOf(stss, {4}, faults_)) {
            const bool follows = row[0] > last && row[0] <= track_.samples.size();
            require(follows, "lists sync samples out of order");
            if (follows) track_.samples[static_cast<std::size_t>(row[0] - 1)].isSync = true;
            last = row[0];
        }
    }

    void readPlaces() {
        const Box* stco = stbl_.child("stco");
        const Box* co64 = stbl_.child("co64");
        require((stco == nullptr) != (co64 == nullptr), "doesn't have one of “stco” and “co64”");
        const std::vector<Row> offsets =
            stco != nullptr ? rowsOf(stco, {4}, faults_) : rowsOf(co64, {8}, faults_);
        const std::vector<Row> runs = rowsOf(stbl_.child("stsc"), {4, 4, 4}, faults_);
        std::uint64_t placed = 0;
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const std::uint64_t end = i + 1 < runs.size() ? runs[i + 1][0] : offsets.size() + 1;
            const bool isInOrder =
                (i > 0 || runs[i][0] == 1) && runs[i][0] < end && end <= offsets.size() + 1;
            require(isInOrder && runs[i][1] > 0 && runs[i][2] == 1, "has impossible chunks");
            for (std::uint64_t chunk = runs[i][0]; isInOrder && chunk < end; ++chunk) {
                std::uint64_t place = offsets[static_cast<std::size_t>(chunk - 1)][0];
                const std::uint64_t next = placed + runs[i][1];
                for (; placed < std::min<std::uint64_t>(next, track_.samples.size()); ++placed) {
                    MovieSample& sample = track_.samples[static_cast<std::size_t>(placed)];
                    sample.offset = std::exchange(place, place + sample.size);
                }
                placed = next;
            }
        }
        requireAll(placed);
    }

    TrackFacts& track_;
    Faults& faults_;
    const Box& stbl_;
};

TrackFacts* trackOf(std::vector<TrackFacts>& tracks, const Box* box) {
    const std::uint64_t id = box != nullptr ? box->field("id") : 0;
    const auto found =
        std::find_if(tracks.begin(), tracks.end(), [id](const TrackFacts& track) { return track.id == id; });
    return found != tracks.end() ? &*found : nullptr;
}

// Sample flags: a sync sample doesn't depend on others.
constexpr std::uint64_t syncFlags = 0x02000000;
constexpr std::uint64_t otherFlags = 0x01010000;

class Fragment {
 public:
    Fragment(const Box& moof, const Box* mdat, std::vector<TrackFacts>& tracks, Faults& faults)
        : moof_(moof), mdat_(mdat), tracks_(tracks), faults_(faults) {}

    void read() {
        for (const Box* traf : moof_.all("traf")) {
            TrackFacts* track = trackOf(tracks_, traf->child("tfhd"));
            const Box* tfdt = traf->child("tfdt");
            const Box* trun = traf->child("trun");
            if (track == nullptr || track->defaults == nullptr || tfdt == nullptr || trun == nullptr) {
                faults_.add(*traf, "is for no track, or incomplete");
                continue;
            }
            faults_.require(tfdt->field("time") >= track->nextTime, *tfdt, "begins too early");
            track->nextTime = tfdt->field("time");
            readRun(*trun, *track);
            const Box* sbgp = traf->child("sbgp");
            const bool isInGroup = sbgp != nullptr && sbgp->field("count") == trun->field("count");
            faults_.require(track->isVideo() ? sbgp == nullptr : isInGroup, *traf, "lacks the roll group");
        }
    }

 private:
    void readRun(const Box& trun, TrackFacts& track) {
        const std::uint64_t flags = trun.field("flags");
        const bool hasDurations = (flags & 0x100) != 0;
        const bool hasFields = (flags & ~0x100U) == (track.isVideo() ? 0x601 : 0x201);
        faults_.require(hasFields && (hasDurations || !track.isVideo()), trun, "has other fields");
        std::uint64_t place = moof_.offset + trun.field("offset");
        const std::uint64_t count = trun.field("count");
        const std::size_t rowSize = 4U + (hasDurations ? 4 : 0) + (track.isVideo() ? 4 : 0);
        Bytes bytes(trun.content);
        bytes.take(12);  // flags, count and offset
        if (count == 0 || bytes.left() != count * rowSize)
            return faults_.add(trun, "has another number of samples than its count");
        for (std::uint64_t i = 0; i < count; ++i) {
            MovieSample sample;
            sample.duration =
                hasDurations ? bytes.u32() : static_cast<std::uint32_t>(track.defaults->field("duration"));
            sample.size = bytes.u32();
            const std::uint64_t sampleFlags = track.isVideo() ? bytes.u32() : track.defaults->field("flags");
            sample.isSync = sampleFlags == syncFlags;
            sample.offset = std::exchange(place, place + sample.size);
            sample.mediaTime = static_cast<std::int64_t>(track.nextTime);
            track.nextTime += sample.duration;
            faults_.require(sample.isSync || sampleFlags == otherFlags, trun, "has other sample flags");
            faults_.require(sample.size > 0 && sample.duration > 0, trun, "has an empty sample");
            const bool isInside =
                mdat_ != nullptr && sample.offset >= mdat_->contentOffset() && place <= mdat_->end();
            faults_.require(isInside, trun, "has a sample outside the media that follows its fragment");
            track.samples.push_back(sample);
        }
    }

    const Box& moof_;
    const Box* mdat_;
    std::vector<TrackFacts>& tracks_;
    Faults& faults_;
};

// What is wrong with a picture's sample; nothing if it is right.
std::string judgePicture(ByteSpan sample, bool isAvc, bool isSync) {
    bool hasPicture = false;
    bool standsAlone = true;
    Bytes bytes(sample);
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
    return isSync == standsAlone ? "" : "is a sync sample that needs others, or the reverse";
}

std::string judgeSound(const MovieSample& sample, const TrackFacts& track) {
    const bool isLast = &sample == &track.samples.back();
    const bool lasts = sample.duration == 1024 || (isLast && sample.duration < 1024);
    return sample.isSync && lasts && sample.size <= 1536 ? "" : "isn't a sync sample of 1024 ticks of AAC";
}

// FNV-1a.
std::uint64_t hashOf(ByteSpan bytes) {
    std::uint64_t hash = 14695981039346656037U;
    for (const std::uint8_t byte : bytes)
        hash = (hash ^ byte) * 1099511628211U;
    return hash;
}

}  // namespace

std::vector<Row> rowsOf(const Box* table, const std::vector<std::size_t>& widths, Faults& faults,
                        std::size_t lead) {
    std::vector<Row> rows;
    if (table == nullptr) return rows;
    Bytes bytes(table->content);
    const std::uint32_t version = bytes.u32();
    const bool isPlain = version == 0 || (version == 1U << 24 && table->type == "elst");
    faults.require(isPlain, *table, "has a version or flags");
    for (; lead > 4; lead -= 4)
        faults.require(bytes.u32() == 0, *table, "has one value for all rows");
    const std::uint64_t count = bytes.u32();
    const std::size_t rowSize = std::accumulate(widths.begin(), widths.end(), std::size_t{0});
    faults.require(bytes.left() == count * rowSize, *table, "has another number of rows than its count");
    while (bytes.left() >= rowSize) {
        rows.emplace_back();
        for (const std::size_t width : widths)
            rows.back().push_back(bytes.number(width));
    }
    return rows;
}

void readSampleTables(TrackFacts& track, Faults& faults) {
    if (const Box* stbl = track.trak->find("mdia/minf/stbl")) SampleTables(track, *stbl, faults).read();
}

void readFragments(const Box& whole, bool mayBeCutOff, std::vector<TrackFacts>& tracks, Faults& faults) {
    const Box* mvex = whole.find("moov/mvex");
    if (mvex == nullptr) return;
    for (const Box* trex : mvex->all("trex")) {
        TrackFacts* track = trackOf(tracks, trex);
        const bool fits = track != nullptr && track->defaults == nullptr &&
                          trex->field("flags") == (track->isVideo() ? otherFlags : syncFlags) &&
                          trex->field("duration") == (track->isVideo() ? 0 : 1024);
        faults.require(fits, *trex, "is for no track, or not what its samples need");
        if (track != nullptr) track->defaults = trex;
    }
    for (const TrackFacts& track : tracks)
        faults.require(track.defaults != nullptr, *mvex, "lacks “trex” of track " + std::to_string(track.id));
    std::uint64_t last = 0;
    const auto& boxes = whole.children;
    for (auto moof = boxes.begin(); moof != boxes.end(); ++moof) {
        if (moof->type != "moof") continue;
        const auto next = std::next(moof);
        const Box* mdat = next != boxes.end() && next->type == "mdat" ? &*next : nullptr;
        const bool isLast = next == boxes.end() || (std::next(next) == boxes.end() && !next->isWhole);
        if (mayBeCutOff && isLast && !(moof->isWhole && mdat != nullptr && mdat->isWhole)) return;
        faults.require(mdat != nullptr, *moof, "isn't followed by its media");
        const Box* mfhd = moof->child("mfhd");
        faults.require(mfhd != nullptr && mfhd->field("sequence") == last + 1, *moof, "is out of order");
        ++last;
        Fragment(*moof, mdat, tracks, faults).read();
    }
}

void examineMedia(const Box& whole, ByteSpan file, std::vector<TrackFacts>& tracks, Faults& faults) {
    const std::vector<const Box*> media = whole.all("mdat");
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    for (TrackFacts& track : tracks) {
        for (MovieSample& sample : track.samples) {
            const std::uint64_t end = sample.offset + sample.size;
            const std::string name = "the sample at " + std::to_string(sample.offset) + " ";
            const bool isInside = std::any_of(media.begin(), media.end(), [&](const Box* mdat) {
                return sample.offset >= mdat->contentOffset() && end <= mdat->end() && sample.offset <= end;
            });
            faults.require(isInside, *track.trak, name + "lies outside the media");
            if (!isInside) continue;
            ranges.emplace_back(sample.offset, end);
            const ByteSpan bytes = file.subspan(static_cast<std::size_t>(sample.offset), sample.size);
            sample.hash = hashOf(bytes);
            const bool isAvc = track.coding == "avc1";
            const std::string fault =
                track.isVideo() ? judgePicture(bytes, isAvc, sample.isSync) : judgeSound(sample, track);
            faults.require(fault.empty(), *track.trak, name + fault);
        }
    }
    std::sort(ranges.begin(), ranges.end());
    for (std::size_t i = 1; i < ranges.size(); ++i)
        faults.require(ranges[i - 1].second <= ranges[i].first, whole,
                       "has samples that share bytes at " + std::to_string(ranges[i].first));
}

}  // namespace lumicrate::stage
