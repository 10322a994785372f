// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes can be read as a movie's headers, and the result has sensible numbers.
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Tests/Fuzz/Check.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <cmath>

namespace lumicrate::fuzz {

namespace {

using namespace isobmff;

bool isSensible(double value) {
    return std::isfinite(value) && value >= 0 && value <= 1e12;
}

void checkSummary(const MovieSummary& movie) {
    check(isSensible(movie.duration), "the movie has a duration");
    for (const TrackSummary& each : movie.tracks) {
        check(isSensible(each.duration) && isSensible(each.width) && isSensible(each.height),
              "a track has a duration and a size");
        check(each.kind == fourCC("vide") || each.width + each.height == 0, "sound has no size");
    }
}

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lumicrate;
    const isobmff::test::MemoryFile file(std::vector<std::uint8_t>(data, data + size));
    const isobmff::test::CountedFile counted(file);
    const auto reading = isobmff::readMovieSummary(counted);
    // The reader may read a byte twice, but not over and over.
    fuzz::check(counted.bytesRead <= 64 * size + 65536, "few bytes are read repeatedly");
    if (const auto* movie = std::get_if<isobmff::MovieSummary>(&reading)) fuzz::checkSummary(*movie);
    return 0;
}
