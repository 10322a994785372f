// RangeKeys: the key pictures around the start of a range.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Platform/AVAsset.h"

namespace lumicrate::media {

struct RangeKeys {
    /// Pictures there are decoded in another order than they are shown; then the rest tells nothing.
    bool reordered = false;
    /// The picture that is shown at the start is one, or there is none before it.
    bool startsOnKey = true;
    /// The first one after the start and within the range; null without.
    OwnedPacket next;

    /// Reads packets of the source's track up to the next key picture. Throws PlatformError.
    static RangeKeys find(const InputMovie& source, int track, const CMTimeRange& range);
};

}  // namespace lumicrate::media
