// SPDX-License-Identifier: GPL-3.0-or-later
// AudioMixdown: mixes the audio tracks of a finished recording into one.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/Error.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// Mixing was not started because the disk cannot hold a second copy of the movie.
class NoRoomToMix : public LocalizedError {
 public:
    NoRoomToMix()
        : LocalizedError(
              localized("There is no room on the disk to mix the audio tracks; they stay apart.")) {}
};

/// There are no instances.
class AudioMixdown {
 public:
    AudioMixdown() = delete;

    /// Mixes the audio tracks of a finished movie into one, in place and in a single step. False if there are
    /// fewer than two tracks. Any thread. Throws NoRoomToMix, CancelledError or the platform's error, and
    /// leaves the movie unchanged and no other file.
    static bool mixIfNeeded(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                            const LongWork& work);
};

}  // namespace lumicrate
