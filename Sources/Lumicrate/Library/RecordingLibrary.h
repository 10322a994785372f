// RecordingLibrary: the recordings there are, and which of them are new.
#pragma once

#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Library/RecordingLengths.h"
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

/// Keeps the list of the recording folder's movies. It reads the folder when it is told to and when a
/// recording was saved or changed; in between it looks at those files only that the watch names. Main thread.
class RecordingLibrary {
 public:
    using Instant = std::chrono::system_clock::time_point;

    /// What it stands on; must outlive it.
    struct Services {
        Executor& executor;
        NSFileManager& files;
        NotificationCenter& notifications;
        const RecordingFolder& folder;
        NSWorkspace& workspace;
        RecordingLengths::Readers lengths;
        std::unique_ptr<FolderWatch> watch;  ///< of the folder; without one, changes by others stay unseen
        std::function<void(const std::filesystem::path&)> showPreview;
        std::function<void()> beep;  ///< NSSound.beep
    };

    /// The list is empty until the first reload.
    explicit RecordingLibrary(Services services, Instant launchDate = std::chrono::system_clock::now());
    RecordingLibrary(const RecordingLibrary&) = delete;
    RecordingLibrary& operator=(const RecordingLibrary&) = delete;

    /// Newest first; of equal age in the order of the folder.
    Published<std::vector<Recording>> recordings;
    /// Made during this run and not opened, previewed or moved to the Trash since.
    Published<std::set<std::filesystem::path>> unopened;

    Instant launchDate() const { return launchDate_; }
    /// Whether lengths of recordings are still being read.
    const Published<bool>& readsLengths() const { return lengths_.isReading; }

    /// Reads the folder anew and tries again what could not be read before.
    void reload();

    /// It is no longer new: it was opened or previewed in some other way.
    void markOpened(const std::filesystem::path& url);
    /// Shows it in the preview.
    void open(const Recording& recording);
    /// Opens it with the default application. Throws PlatformError.
    void openInQuickTime(const Recording& recording);
    /// Beeps when that cannot be done.
    void moveToTrash(const Recording& recording);

 private:
    void follow(const FolderChanges& changes);
    void publish(std::vector<Recording> list);
    bool isListed(const NSFileEntry& entry) const;
    void markNew(const std::vector<Recording>& list);
    void add(const RecordingLengths::Results& results);

    Services services_;
    Instant launchDate_;
    std::set<std::filesystem::path> opened_;
    RecordingLengths lengths_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
