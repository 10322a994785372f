// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of the examination of a movie file, which MovieBoxes.cpp runs in this order.
#pragma once

#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/MovieBoxes.h"

#include <cstdint>
#include <vector>

namespace lumicrate::stage {

struct MovieForm {
    bool isQuickTime = false;
    bool isFragmented = false;
};

struct Edit {
    std::uint64_t duration = 0;  // ticks of the movie
    std::int64_t mediaTime = 0;  // ticks of the track; -1 for an empty one

    bool isEmpty() const { return mediaTime < 0; }
};

// What the boxes of a track say.
struct TrackFacts {
    const Box* trak = nullptr;
    std::uint64_t id = 0;
    std::string handler;
    std::string name;
    std::string coding;               // type of the sample entry
    std::uint64_t trackDuration = 0;  // ticks of the movie
    std::uint64_t timescale = 0;
    std::uint64_t mediaDuration = 0;  // ticks
    std::vector<Edit> edits;
    const Box* defaults = nullptr;     // "trex"
    std::uint64_t nextTime = 0;        // ticks; where the samples so far end
    std::vector<MovieSample> samples;  // in the order of the file

    bool isVideo() const { return handler == "vide"; }
};

// Boxes that are missing, unexpected, repeated or misplaced, and headers with other contents than this
// program writes. Reads the boxes' fields.
void examineBoxes(Box& whole, const MovieForm& form, Faults& faults);

// A row of a table: numbers of the given widths.
using Row = std::vector<std::uint64_t>;
// The rows of a table, which has a count `lead` bytes from its beginning.
std::vector<Row> rowsOf(const Box* table, const std::vector<std::size_t>& widths, Faults& faults,
                        std::size_t lead = 4);

// The headers of a track.
TrackFacts examineTrack(const Box& trak, const MovieForm& form, Faults& faults);
// Reads the samples that the track's tables list.
void readSampleTables(TrackFacts& track, Faults& faults);
// Adds the samples of all fragments to their tracks. In a file that may be cut off, an incomplete last
// fragment is left out.
void readFragments(const Box& whole, bool mayBeCutOff, std::vector<TrackFacts>& tracks, Faults& faults);
// The bytes of all samples lie in an "mdat" and don't overlap; pictures are chains of NAL units and are sync
// samples exactly if they can be decoded alone. Sets the samples' hashes.
void examineMedia(const Box& whole, ByteSpan file, std::vector<TrackFacts>& tracks, Faults& faults);
// Whether the durations that a movie has in many places agree.
void examineDurations(const Box& mvhd, const std::vector<TrackFacts>& tracks, bool isFragmented,
                      Faults& faults);
// The track as a player shows it, with edits applied.
MovieTrack presented(const TrackFacts& track, std::uint64_t movieTimescale);

}  // namespace lumicrate::stage
