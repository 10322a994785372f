// Whether the durations that a movie tells in many places agree, and when its samples are presented.
#pragma once

#include "Tests/Stage/Movie/TrackFacts.h"

namespace lumicrate::stage {

void examineDurations(const Box& moov, const MovieFacts& movie, const std::vector<TrackFacts>& tracks,
                      bool isFragmented, Faults& faults);

// The track as a player shows it: samples in the order of their presentation, edits applied.
MovieTrack presented(const TrackFacts& track, const MovieFacts& movie);

}  // namespace lumicrate::stage
