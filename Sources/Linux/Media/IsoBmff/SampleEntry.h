// The sample description of a track: what a decoder must know before the first sample.
#pragma once

#include "Linux/Media/IsoBmff/BoxWriter.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"

namespace lumicrate::isobmff {

/// The box "stsd" with its one entry.
void writeSampleDescription(BoxWriter& writer, Brand brand, const TrackDescription& track);

}  // namespace lumicrate::isobmff
