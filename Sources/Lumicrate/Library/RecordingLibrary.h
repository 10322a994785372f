// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingLibrary: the list of recordings, and which of them are new.
#pragma once

#include "Lumicrate/Library/DurationReader.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Platform/NSFileManager.h"
#include "Platform/NSWorkspace.h"
#include "Support/Executor.h"
#include "Support/Notifications.h"
#include "Support/Published.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace lumicrate {

/// Keeps the list of the movies in the recording folder, also when another folder is chosen. reload() and the
/// notifications about saved and changed recordings read the whole folder; between those, only the files that
/// the folder watch reports are looked up. Main thread.
class RecordingLibrary {
 public:
    using Instant = std::chrono::system_clock::time_point;

    /// All references must outlive the library.
    struct Services {
        Executor& executor;
        NSFileManager& files;
        NotificationCenter& notifications;
        const RecordingFolder& folder;
        NSWorkspace& workspace;
        DurationReader::Readers durations;
        /// May be empty or return nothing: then external changes are missed.
        std::function<std::unique_ptr<FolderWatch>(const std::filesystem::path& folder)> makeWatch;
        std::function<void(const std::filesystem::path&)> showPreview;
        std::function<void()> beep;  ///< NSSound.beep
    };

    /// The list is empty until the first reload.
    explicit RecordingLibrary(Services services, Instant launchDate = std::chrono::system_clock::now());
    RecordingLibrary(const RecordingLibrary&) = delete;
    RecordingLibrary& operator=(const RecordingLibrary&) = delete;

    /// Newest first; of the same time in the order of the folder.
    Published<std::vector<Recording>> recordings;
    /// Created since launchDate and not yet opened, previewed or moved to the Trash.
    Published<std::set<std::filesystem::path>> unopened;

    /// Whether durations are still being read.
    const Published<bool>& readsDurations() const { return durations_.isReading; }

    /// Reads the folder again, and retries the durations that could not be read.
    void reload();

    /// Removes the recording from `unopened`.
    void markOpened(const std::filesystem::path& url);
    /// Shows the recording in the preview.
    void open(const Recording& recording);
    /// Opens the recording in the default application. Throws PlatformError.
    void openInQuickTime(const Recording& recording);
    /// Beeps on failure.
    void moveToTrash(const Recording& recording);

 private:
    void watchFolder();
    void follow(const FolderChanges& changes);
    void publish(std::vector<Recording> list);
    bool isListed(const NSFileEntry& entry) const;
    void markNew(const std::vector<Recording>& list);
    void addDurations(const DurationReader::Results& results);

    Services services_;
    Instant launchDate_;
    std::set<std::filesystem::path> opened_;
    DurationReader durations_;
    std::unique_ptr<FolderWatch> watch_;
    std::shared_ptr<RecordingLibrary*> self_;  ///< posted work holds it weakly
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
