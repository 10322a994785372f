// SPDX-License-Identifier: GPL-3.0-or-later
// Sample entries: the format of a track's samples, as an index states it.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"

namespace lumicrate::isobmff {

/// Writes the box "stsd" with its one entry.
void writeSampleDescription(BoxWriter& writer, Brand brand, const TrackDescription& track);

/// `entry` is the content of the box "mett" (TextMetaDataSampleEntry of ISO/IEC 14496-12). Throws Malformed.
MetadataDescription readTextMetadataEntry(BoxReader entry);

}  // namespace lumicrate::isobmff
