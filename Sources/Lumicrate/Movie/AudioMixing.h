// AudioMixing: what the recorder asks for when a recording is to have one audio track.
#pragma once

#include "Support/Error.h"
#include "Support/Task.h"

#include <filesystem>

namespace lumicrate {

/// Nothing was begun, because the disk could not hold the mixed movie beside the other.
class NoRoomToMix : public LocalizedError {
 public:
    NoRoomToMix()
        : LocalizedError(
              localized("There is no room on the disk to mix the audio tracks; they stay apart.")) {}
};

class AudioMixing {
 public:
    virtual ~AudioMixing() = default;
    /// Mixes the audio tracks of a finished movie into one, in place. False when there are fewer than two and
    /// nothing was to be done. Throws, and leaves the movie as it was, when it cannot be done; NoRoomToMix
    /// when it was not tried.
    virtual Task<bool> mixIfNeeded(std::filesystem::path url) = 0;
};

}  // namespace lumicrate
