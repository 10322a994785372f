// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingFiles: describes, renames and deletes the file of a recording.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/Notifications.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

/// "1920 × 1080 · 01:05 · 3.4 MB · mp4". Leaves out the picture size of sound and an unknown file size.
std::string describeRecording(const std::filesystem::path& url, const AVAssetSummary& summary,
                              std::optional<std::uintmax_t> size);

/// Turns typed text into a file name: removes white space and line ends around it and replaces characters
/// that are not allowed by "-". " a/b " becomes "a-b". The result may be empty.
std::string cleanedName(std::string_view typed);

/// Both operations post recordingsChangedNotification and throw LocalizedError with a sentence for the user.
/// Main thread.
class RecordingFiles {
 public:
    /// Both must outlive this object.
    RecordingFiles(NSFileManager& files, const NotificationCenter& notifications)
        : files_(files), notifications_(notifications) {}

    /// Renames the file to the cleaned name plus its present extension. Returns the new path, or nothing if
    /// the cleaned name is empty or unchanged. Throws also if another file has that name.
    std::optional<std::filesystem::path> rename(const std::filesystem::path& url,
                                                std::string_view typed) const;
    void moveToTrash(const std::filesystem::path& url) const;

 private:
    NSFileManager& files_;
    const NotificationCenter& notifications_;
};

}  // namespace lumicrate
