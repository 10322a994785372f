// The bytes of samples: whether they are what the index says they are.
#pragma once

#include "Tests/Stage/Movie/TrackFacts.h"

namespace lumicrate::stage {

// Every sample's bytes lie in an "mdat" and are no other's; pictures are whole chains of NAL units and are
// sync samples exactly when they can be decoded alone; sound looks like AAC. Fills in the samples' hashes.
void examineMediaBytes(const Box& whole, ByteSpan file, std::vector<TrackFacts>& tracks, Faults& faults);

}  // namespace lumicrate::stage
