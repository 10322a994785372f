// The headers of a movie and its tracks: everything in "moov" but the samples.
#pragma once

#include "Tests/Stage/Movie/TrackFacts.h"

namespace lumicrate::stage {

// "ftyp": the brand.
std::string examineFileType(const Box& ftyp, Faults& faults);
// "mvhd".
MovieFacts examineMovieHeader(const Box& mvhd, Faults& faults);
// All of a "trak" but its samples.
TrackFacts examineTrack(const Box& trak, const MovieForm& form, Faults& faults);

}  // namespace lumicrate::stage
