// SPDX-License-Identifier: GPL-3.0-or-later
// Trimming: saves a range of a recording, as a copy or in place of the recording.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/LongWork.h"

#include <exception>
#include <filesystem>
#include <string>

namespace lumicrate {

/// The range is exported to a hidden temporary file first. Any thread.
class Trimming {
 public:
    struct Request {
        std::filesystem::path url;
        CMTimeRange range;     ///< in the presented time of the recording
        bool precise = false;  ///< re-encode pictures so that the movie begins exactly at the start
        /// Replace the recording instead of creating "NAME_trimmed".
        bool replacing = false;
    };

    /// Both must outlive this object.
    Trimming(const AVAssets& assets, NSFileManager& files) : assets_(assets), files_(files) {}

    /// Saves the range and returns the path of the new file. Blocks. Throws PlatformError and CancelledError;
    /// then the recording is unchanged, and no other file is left.
    std::filesystem::path save(const Request& request, const LongWork& work) const;

    /// The sentence for the user about a failed save().
    static std::string message(const std::exception_ptr& error);

 private:
    AVAssetExportPreset presetFor(const Request& request) const;

    const AVAssets& assets_;
    NSFileManager& files_;
};

}  // namespace lumicrate
