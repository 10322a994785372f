// SPDX-License-Identifier: GPL-3.0-or-later
// Shortens tracks in the index of a finished movie.
#pragma once

#include <cstdint>
#include <map>
#include <span>

namespace lumicrate::media {

/// Changes `moov`, the content of that box, so that the tracks in `ends`, counted from 0, are presented until
/// that time in seconds at the latest. The muxer presents a track until the end of its last picture, also
/// when that picture is only there because others are decoded from it. Throws isobmff::Malformed.
void endTracksAt(const std::map<int, double>& ends, std::span<std::uint8_t> moov);

}  // namespace lumicrate::media
