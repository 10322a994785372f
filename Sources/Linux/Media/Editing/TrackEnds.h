// TrackEnds: a finished movie's index, told that tracks end earlier than their last picture.
#pragma once

#include <cstdint>
#include <map>
#include <span>

namespace lumicrate::media {

/// Changes the bytes of the box "moov", without its header, so that what is presented of a track ends by its
/// time in `ends`, in seconds; tracks are counted from 0. The muxer lets a track last as long as all of its
/// pictures, also those that are only there because others are decoded from them. Throws isobmff::Malformed.
void endTracksBy(const std::map<int, double>& ends, std::span<std::uint8_t> moov);

}  // namespace lumicrate::media
