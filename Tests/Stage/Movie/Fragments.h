// The samples of a fragmented file, as its "moof" boxes list them.
#pragma once

#include "Tests/Stage/Movie/TrackFacts.h"

namespace lumicrate::stage {

// "mvex": what fragments need not say of their samples.
void examineFragmentDefaults(const Box& mvex, std::vector<TrackFacts>& tracks, Faults& faults);

// Adds the samples of all fragments to their tracks. Of a file that was cut off, a last fragment whose media
// is incomplete is left out.
void examineFragments(const Box& whole, bool mayBeCutOff, std::vector<TrackFacts>& tracks, Faults& faults);

}  // namespace lumicrate::stage
