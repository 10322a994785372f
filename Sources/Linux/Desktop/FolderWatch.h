// FolderWatch: follows a folder through inotify, wherever it comes from and goes to.
#pragma once

#include "Linux/Desktop/Inotify.h"
#include "Platform/NSFileManager.h"

#include <QSocketNotifier>
#include <QTimer>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::desktop {

/// Besides the folder it watches those that lead to it, though only for being moved or deleted themselves;
/// while the folder is missing, the nearest one that exists is watched for what is made in it. Nothing is
/// polled. Where the user's watches are used up, changes stay unseen. Needs a running Qt event loop.
///
/// Not seen is what leaves these folders as they are: another volume mounted over one of them, and a
/// symbolic link on the way that is replaced.
class FolderWatch final : public lumicrate::FolderWatch {
 public:
    /// Throws PlatformError when the system refuses.
    explicit FolderWatch(const std::filesystem::path& folder);

    void setOnChange(Handler changed) override { changed_ = std::move(changed); }

 private:
    void aim();
    void take();
    void take(const Inotify::Event& event);
    void tell();

    std::filesystem::path folder_;
    Handler changed_;
    Inotify inotify_;
    QSocketNotifier notifier_;
    QTimer delay_;
    std::vector<int> leading_;  ///< watches of the folders that lead to it
    int watch_ = -1;            ///< of the folder itself, while it is there
    bool everything_ = false;
    std::set<std::string> names_;
};

}  // namespace lumicrate::desktop
