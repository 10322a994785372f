// FragmentLengths: how far the fragments of a movie reach, whoever wrote them.
#pragma once

#include "Linux/Media/IsoBmff/HeaderFile.h"
#include "Linux/Media/IsoBmff/TrackHeaders.h"

#include <span>

namespace lumicrate::isobmff {

/// Lets the tracks reach as far as the fragment whose box "moof" this is; tracks that it does not name stay
/// as they are. Throws Malformed, with what lies before the damage taken into account.
void addFragment(HeaderFile& file, const FileBox& moof, std::span<TrackHeaders> tracks);

}  // namespace lumicrate::isobmff
