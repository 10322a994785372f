// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of an index that a library has written, the content of the box "moov". All throw
// isobmff::Malformed.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Changes `moov` so that the tracks in `ends`, counted from 0, are presented until that time in seconds at
/// the latest. The muxer presents a track until the end of its last picture, also when that picture is only
/// there because others are decoded from it.
void endTracksAt(const std::map<int, double>& ends, std::span<std::uint8_t> moov);

/// Adds a metadata track, which ends with the movie. The offsets in `table` are those of the file.
void addMetadataTrack(const isobmff::TrackDescription& track, const isobmff::SampleTable& table,
                      isobmff::Brand brand, std::vector<std::uint8_t>& moov);

}  // namespace lumicrate::media
