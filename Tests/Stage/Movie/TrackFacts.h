// TrackFacts: what the boxes of a track say, gathered to be compared with each other.
#pragma once

#include "Tests/Stage/Movie/SampleEntry.h"
#include "Tests/Stage/MovieBoxes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::stage {

struct Edit {
    std::uint64_t duration = 0;  // ticks of the movie
    std::int64_t mediaTime = 0;  // ticks of the track; -1 for an empty one

    bool isEmpty() const { return mediaTime < 0; }
};

// What a fragment need not say.
struct FragmentDefaults {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

struct TrackFacts {
    const Box* trak = nullptr;
    const Box* stbl = nullptr;  // none when the track is too broken
    std::uint32_t id = 0;
    std::uint64_t trackDuration = 0;  // ticks of the movie
    std::uint32_t timescale = 0;
    std::uint64_t mediaDuration = 0;  // ticks, as told
    double shownWidth = 0;
    double shownHeight = 0;
    std::string handler;
    std::string name;
    std::vector<Edit> edits;
    SampleEntry entry;
    bool hasDefaults = false;
    FragmentDefaults defaults;
    std::uint64_t nextTime = 0;  // of the next fragment's first sample, at the earliest
    bool hasRollGroup = false;
    std::vector<MovieSample> samples;  // in the order of decoding

    bool isVideo() const { return handler == "vide"; }
};

struct MovieFacts {
    std::uint32_t timescale = 0;
    std::uint64_t duration = 0;
    std::uint32_t nextTrackId = 0;
    std::int64_t created = 0;  // seconds since 1970
};

}  // namespace lumicrate::stage
