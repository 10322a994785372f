// SPDX-License-Identifier: GPL-3.0-or-later
// SoundTracks: what the sound tracks of a movie are, by their names.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"

#include <optional>
#include <vector>

namespace lumicrate::media {

/// The track with a voice that nothing has cleaned yet: the recorder's microphone, or in a movie of another
/// program its only sound. None if there is none, or if it was cleaned.
std::optional<int> voiceTrack(const InputMovie& movie);

/// Whether a track, or the mix that it is in, was cleaned.
bool hasCleanVoice(const InputMovie& movie);

/// All sound tracks but the originals of cleaned ones, in file order: what is heard together.
std::vector<int> heardTracks(const InputMovie& movie);

}  // namespace lumicrate::media
