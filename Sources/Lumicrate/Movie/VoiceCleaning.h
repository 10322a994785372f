// SPDX-License-Identifier: GPL-3.0-or-later
// VoiceCleaning: takes the noise out of the microphone track of a finished recording.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/Error.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// Why a voice is not cleaned.
class VoiceCleaningError final : public LocalizedError {
 public:
    enum Case {
        noMicrophone,
        alreadyClean,
        noRoom,  ///< the disk cannot hold a second copy of the movie
    };

    explicit VoiceCleaningError(Case which) : LocalizedError(description(which)), which_(which) {}
    Case which() const { return which_; }

 private:
    static std::string description(Case which);

    Case which_;
};

/// The original track stays in the movie until its tracks are mixed. There are no instances.
class VoiceCleaning {
 public:
    VoiceCleaning() = delete;

    /// Cleans the voice in place, in a single step. `normalizes` as in AVAssets::cleanVoice. Any thread.
    /// Throws VoiceCleaningError, CancelledError or the platform's error, and leaves the movie unchanged and
    /// no other file.
    static void clean(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                      bool normalizes, const LongWork& work);
    /// The same into a new file, which must not exist.
    static void saveCleaned(const AVAssets& assets, const std::filesystem::path& url,
                            const std::filesystem::path& destination, bool normalizes, const LongWork& work);
};

}  // namespace lumicrate
