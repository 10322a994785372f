// Reads the index of a movie in progress: what makeEmptyIndex wrote.
#pragma once

#include "Linux/Media/IsoBmff/BoxReader.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"

#include <cstdint>
#include <vector>

namespace lumicrate::isobmff {

/// What holds for a track's samples unless their fragment says something else.
struct SampleDefaults {
    std::uint32_t duration = 0;  ///< ticks
    bool key = false;
};

struct EmptyIndex {
    MovieDescription description;
    std::vector<SampleDefaults> defaults;  ///< one for each track
};

/// Whether the flags of a sample say that one can begin there.
bool isKey(std::uint32_t sampleFlags);

/// Whether this content of a box "moov" announces fragments.
bool announcesFragments(const BoxReader& moov);

/// `moov` is the content of that box. Throws Malformed.
EmptyIndex readEmptyIndex(Brand brand, const BoxReader& moov);

}  // namespace lumicrate::isobmff
