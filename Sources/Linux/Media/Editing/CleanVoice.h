// SPDX-License-Identifier: GPL-3.0-or-later
// CleanVoice: the sound of a track without its noise.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/SoundReader.h"
#include "Linux/Media/Sound/VoiceCleaner.h"

#include <cstddef>
#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// A sound track of a movie that is to be cleaned.
struct VoiceInput {
    VoiceInput(const InputMovie& movie, int number);

    std::filesystem::path path;
    int track = 0;
    std::size_t channels = 1;  ///< of the clean sound: 1 for a mono track, 2 for all others
    double duration = 0;       ///< of the movie, seconds
};

/// Decodes and cleans a track piece by piece, from the movie's time zero on, at 48000 Hz. One thread. Throws
/// PlatformError.
class CleanVoice {
 public:
    explicit CleanVoice(const VoiceInput& voice);

    /// The next piece, interleaved; empty at the end.
    std::vector<float> next();

 private:
    void keepLeft();

    std::size_t channels_;
    SoundReader reader_;
    VoiceCleaner cleaner_;
    std::vector<float> sound_;
    bool ended_ = false;
};

}  // namespace lumicrate::media
