// UnfinishedMovie: a movie file that has its media but not yet its index.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieHead.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <cstdint>
#include <vector>

namespace lumicrate::isobmff {

struct UnfinishedMovie {
    MovieDescription description;
    MovieIdentifier identifier{};
    HeadLayout layout;
    std::vector<SampleTable> tracks;  ///< one for each track of the description
    std::uint64_t mediaEnd = 0;       ///< behind the last whole fragment
};

}  // namespace lumicrate::isobmff
