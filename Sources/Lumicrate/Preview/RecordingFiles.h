// RecordingFiles: what the preview of a recording says about its file and does with it.
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

/// The line of facts: "1920 × 1080 · 01:05 · 3.4 MB · mp4". Without a size in bytes that part is missing.
std::string describeRecording(const std::filesystem::path& url, const AVAssetSummary& summary,
                              std::optional<std::uintmax_t> size);

/// A name for a file as somebody typed it: without white space and line ends around it, and with "-" for the
/// characters that names cannot have. It may come out empty.
std::string cleanedName(std::string_view typed);

/// Renames recordings and moves them to the Trash, and tells the library. Main thread.
class RecordingFiles {
 public:
    /// Both must outlive it.
    RecordingFiles(NSFileManager& files, const NotificationCenter& notifications)
        : files_(files), notifications_(notifications) {}

    /// Gives a recording the name that somebody typed, its extension stays. Returns where it is now; nothing
    /// when the name, cleaned, is empty or the one that it has. Throws LocalizedError, a sentence for the
    /// preview, also when there is a file of that name.
    std::optional<std::filesystem::path> rename(const std::filesystem::path& url,
                                                std::string_view typed) const;
    /// Throws LocalizedError, a sentence for the preview.
    void moveToTrash(const std::filesystem::path& url) const;

 private:
    NSFileManager& files_;
    const NotificationCenter& notifications_;
};

}  // namespace lumicrate
