// SPDX-License-Identifier: GPL-3.0-or-later
// The headers of a track, its edits and durations.
#include "Tests/Stage/Movie/Examination.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

std::string letters(std::uint64_t number) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(number >> shift & 0xff);
    return text;
}

void examineEntry(const Box& stsd, TrackFacts& track, const Box& tkhd, Faults& faults) {
    if (stsd.children.size() != 1) return faults.add(stsd, "doesn't have exactly one entry");
    const Box& entry = stsd.children.front();
    track.coding = entry.type;
    faults.require((entry.type == "mp4a") != track.isVideo(), stsd, "has samples of another kind");
    for (const char* side : {"width", "height"})
        faults.require(tkhd.field(side) == entry.field(side) << 16, tkhd,
                       "has another size than the pictures");
    if (const Box* avcC = entry.child("avcC"))
        faults.require(avcC->field("profile") == avcC->field("sequence"), *avcC,
                       "differs from its parameters");
    const Box* esds = entry.find(entry.child("wave") != nullptr ? "wave/esds" : "esds");
    if (esds == nullptr) return;
    // Five bits: AAC of low complexity; four: the sample rate, 3 for 48 kHz; four: channels; three: zero.
    const std::uint64_t expected = 2 << 11 | 3 << 7 | entry.field("channels") << 3;
    faults.require(esds->field("configuration") == expected, *esds, "has another format than its entry");
    faults.require(entry.field("rate") == 48000 && track.timescale == 48000, entry, "has another rate");
    faults.require(esds->field("average") == esds->field("maximum"), *esds, "has two bit rates");
}

void readEdits(const Box& elst, TrackFacts& track, Faults& faults) {
    const bool isWide = !elst.content.empty() && elst.content[0] == 1;
    const std::size_t width = isWide ? 8 : 4;
    for (const Row& row : rowsOf(&elst, {width, width, 4}, faults)) {
        const auto time = isWide ? static_cast<std::int64_t>(row[1]) : static_cast<std::int32_t>(row[1]);
        track.edits.push_back({row[0], time});
        faults.require(time >= -1 && row[2] == 0x10000 && (time >= 0 || row[0] > 0), elst,
                       "has an impossible edit");
    }
    const auto count =
        std::count_if(track.edits.begin(), track.edits.end(), [](const Edit& e) { return !e.isEmpty(); });
    faults.require(count == 1 && !track.edits.back().isEmpty(), elst,
                   "isn't one range of media after empty edits");
}

double seconds(double ticks, std::uint64_t timescale) {
    return timescale != 0 ? ticks / static_cast<double>(timescale) : 0;
}

// In a plain file all durations are known.
void examineDuration(const TrackFacts& track, std::uint64_t timescale, Faults& faults) {
    // Either clock may have been rounded.
    const double tolerance = seconds(1, timescale) + seconds(1, track.timescale);
    const double media = seconds(static_cast<double>(track.mediaDuration), track.timescale);
    if (track.edits.empty()) {
        const double whole = seconds(static_cast<double>(track.trackDuration), timescale);
        return faults.require(std::abs(whole - media) <= tolerance, *track.trak,
                              "has another duration than its media");
    }
    std::uint64_t sum = 0;
    for (const Edit& edit : track.edits) {
        sum += edit.duration;
        const double end = seconds(static_cast<double>(edit.mediaTime), track.timescale) +
                           seconds(static_cast<double>(edit.duration), timescale);
        faults.require(edit.isEmpty() || end <= media + tolerance, *track.trak,
                       "has an edit beyond the media's end");
    }
    faults.require(sum == track.trackDuration, *track.trak, "has another duration than its edits");
}

}  // namespace

TrackFacts examineTrack(const Box& trak, const MovieForm& form, Faults& faults) {
    TrackFacts track;
    track.trak = &trak;
    const Box* tkhd = trak.child("tkhd");
    const Box* mdhd = trak.find("mdia/mdhd");
    const Box* hdlr = trak.find("mdia/hdlr");
    const Box* minf = trak.find("mdia/minf");
    if (tkhd == nullptr || mdhd == nullptr || hdlr == nullptr || minf == nullptr) return track;
    track.id = tkhd->field("id");
    track.handler = letters(hdlr->field("handler"));
    track.name.assign(hdlr->content.begin(), hdlr->content.end());
    track.trackDuration = tkhd->field("duration");
    track.timescale = mdhd->field("timescale");
    track.mediaDuration = mdhd->field("duration");
    faults.require(track.isVideo() || track.handler == "soun", *hdlr, "is of an unknown kind");
    faults.require(tkhd->field("volume") == (track.isVideo() ? 0 : 0x100), *tkhd, "has a wrong volume");
    faults.require(track.timescale != 0, *mdhd, "has no time scale");
    const bool hasHeader = minf->child(track.isVideo() ? "vmhd" : "smhd") != nullptr &&
                           minf->child(track.isVideo() ? "smhd" : "vmhd") == nullptr;
    faults.require(hasHeader, *minf, "doesn't have the header of its handler");
    if (form.isQuickTime) {
        const Box* data = minf->child("hdlr");
        const bool hasHandlers = letters(hdlr->field("component")) == "mhlr" && data != nullptr &&
                                 letters(data->field("component")) == "dhlr" &&
                                 letters(data->field("handler")) == "url ";
        faults.require(hasHandlers, *minf, "lacks a handler of the media or the data");
    }
    if (const Box* stsd = minf->find("stbl/stsd")) examineEntry(*stsd, track, *tkhd, faults);
    if (const Box* elst = trak.find("edts/elst")) readEdits(*elst, track, faults);
    return track;
}

void examineDurations(const Box& mvhd, const std::vector<TrackFacts>& tracks, bool isFragmented,
                      Faults& faults) {
    std::uint64_t longest = 0;
    for (const TrackFacts& track : tracks) {
        longest = std::max(longest, track.trackDuration);
        if (!isFragmented) examineDuration(track, mvhd.field("timescale"), faults);
        for (const Edit& edit : track.edits)
            faults.require(edit.isEmpty() || track.samples.empty() ||
                               static_cast<std::uint64_t>(edit.mediaTime) <= track.nextTime,
                           *track.trak, "has an edit that begins after the media's end");
    }
    faults.require(mvhd.field("duration") == longest, mvhd, "has another duration than the longest track");
}

MovieTrack presented(const TrackFacts& track, std::uint64_t movieTimescale) {
    MovieTrack result{static_cast<std::uint32_t>(track.id),
                      track.handler,
                      track.name,
                      static_cast<std::uint32_t>(track.timescale),
                      0,
                      track.samples};
    std::int64_t skipped = 0;
    double delay = 0;
    for (const Edit& edit : track.edits) {
        if (!edit.isEmpty()) skipped = edit.mediaTime;
        delay += edit.isEmpty() ? seconds(static_cast<double>(edit.duration), movieTimescale) : 0;
    }
    for (MovieSample& sample : result.samples) {
        sample.time = delay + seconds(static_cast<double>(sample.mediaTime - skipped), track.timescale);
        result.presentedDuration = sample.time + seconds(sample.duration, track.timescale);
    }
    // A movie in progress does not say where it ends.
    if (track.trackDuration > 0)
        result.presentedDuration = seconds(static_cast<double>(track.trackDuration), movieTimescale);
    return result;
}

}  // namespace lumicrate::stage
