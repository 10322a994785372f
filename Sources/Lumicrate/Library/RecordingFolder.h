// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingFolder: the folder of all recordings, their file names, and which of them are being written.
#pragma once

#include "Platform/NSFileManager.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace lumicrate {

/// One movie of the library, identified by its `url`.
struct Recording {
    std::filesystem::path url;
    /// time_point::min() if the file system does not report it.
    std::chrono::system_clock::time_point created = std::chrono::system_clock::time_point::min();
    std::uintmax_t size = 0;         ///< bytes
    std::optional<double> duration;  ///< seconds; absent until it has been read

    bool operator==(const Recording&) const = default;
};

/// The folder in the preferences, or else "Lumicrate" in the user's movies folder. Main thread only.
class RecordingFolder {
 public:
    enum class Kind { screen, audio, webcam, replay };

    /// Marks a file as being written while it lives. May outlive the RecordingFolder.
    class InProgress {
     public:
        InProgress(InProgress&&) noexcept = default;
        InProgress& operator=(InProgress&& other) noexcept;
        InProgress(const InProgress&) = delete;
        InProgress& operator=(const InProgress&) = delete;
        ~InProgress();

        const std::filesystem::path& url() const { return url_; }

     private:
        friend class RecordingFolder;
        using Urls = std::multiset<std::filesystem::path>;
        InProgress(std::shared_ptr<Urls> urls, std::filesystem::path url);

        std::shared_ptr<Urls> urls_;
        std::filesystem::path url_;
    };

    /// All must outlive this object.
    RecordingFolder(NSFileManager& files, const NSCalendar& calendar, NSUserDefaults& defaults);

    const std::filesystem::path& folder() const { return *current; }
    /// The folder; changes with the preference.
    Published<std::filesystem::path> current;
    /// Stores another folder in the preferences. Throws LocalizedError if no recording can be written to it.
    void choose(const std::filesystem::path& folder);
    /// An unused path in the folder, named after the kind and the current second:
    /// "Recording-Screen_2024-05-01_14.03.22.mp4". Creates the folder if necessary, but not the file.
    /// Throws PlatformError if the folder cannot be created.
    std::filesystem::path newRecordingURL(Kind kind, const std::string& fileExtension);

    [[nodiscard]] InProgress markInProgress(const std::filesystem::path& url);
    bool isInProgress(const std::filesystem::path& url) const { return inProgress_->contains(url); }

    /// Whether the file has an extension of recordings, in upper or lower case.
    static bool isMovie(const std::filesystem::path& url);

 private:
    std::filesystem::path stored() const;

    NSFileManager& files_;
    const NSCalendar& calendar_;
    NSUserDefaults& defaults_;
    Subscription defaultsChanges_;
    std::shared_ptr<InProgress::Urls> inProgress_ = std::make_shared<InProgress::Urls>();
};

}  // namespace lumicrate
