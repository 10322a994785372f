// AudioMixing: what the recorder asks for when a recording is to have one audio track.
#pragma once

#include "Support/Task.h"

#include <filesystem>

namespace lumicrate {

class AudioMixing {
 public:
    virtual ~AudioMixing() = default;
    /// Mixes the audio tracks of a finished movie into one, in place. False when there are fewer than two and
    /// nothing was to be done. Throws, and leaves the movie as it was, when it cannot be done.
    virtual Task<bool> mixIfNeeded(std::filesystem::path url) = 0;
};

}  // namespace lumicrate
