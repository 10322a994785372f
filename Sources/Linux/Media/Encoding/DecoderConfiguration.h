// SPDX-License-Identifier: GPL-3.0-or-later
// Decoder configuration records of ISO/IEC 14496-15: a video track's parameter sets as a movie file stores
// them.
//
// Parameter sets are passed as NAL units without start code or length. The track's samples have four-byte
// lengths and contain no parameter sets.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::media {

using NalUnit = std::span<const std::uint8_t>;

/// The record "avcC" for a High profile stream of 8 bits and 4:2:0. Throws PlatformError when one of the sets
/// is missing or cut off.
std::vector<std::uint8_t> avcConfiguration(NalUnit sequence, NalUnit picture);

/// The record "hvcC" for a stream of 8 bits and 4:2:0, with one or two picture parameter sets. Throws
/// PlatformError when one of the others is missing or cut off.
std::vector<std::uint8_t> hevcConfiguration(NalUnit video, NalUnit sequence, NalUnit picture,
                                            NalUnit secondPicture = {});

}  // namespace lumicrate::media
