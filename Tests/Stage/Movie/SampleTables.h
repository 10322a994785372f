// The samples of a plain file, as the tables in "stbl" list them.
#pragma once

#include "Tests/Stage/Movie/TrackFacts.h"

namespace lumicrate::stage {

// Fills in the track's samples; whether tables agree is examined on the way.
void examineSampleTables(TrackFacts& track, Faults& faults);

// "sbgp": how many samples it puts into the track's roll group; those in no group are a fault.
std::uint64_t examineRollMembers(const Box& sbgp, bool isInFragment, Faults& faults);

}  // namespace lumicrate::stage
