// SPDX-License-Identifier: GPL-3.0-or-later
// TickRange: a range of a movie by the clock of one track; KeyPictures: the key pictures around its start.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <limits>
#include <optional>

namespace lumicrate::media {

/// A range in ticks of a track's clock; by default everything.
struct TickRange {
    std::int64_t start = 0;
    std::int64_t end = std::numeric_limits<std::int64_t>::max() / 2;  ///< halved, so that differences fit

    static TickRange of(const std::optional<CMTimeRange>& range, AVRational clock);
};

/// The key pictures around the start of a range.
struct KeyPictures {
    /// Pictures are decoded in another order than they are shown. Then the other members mean nothing.
    bool reordered = false;
    /// The picture shown at the start is a key picture, or no picture precedes the start.
    bool startsOnKey = true;
    /// The first key picture after the start and within the range; null when there is none.
    OwnedPacket next;

    /// Reads the track up to the next key picture. Throws PlatformError.
    static KeyPictures around(const InputMovie& source, int track, const CMTimeRange& range);
};

}  // namespace lumicrate::media
