// SPDX-License-Identifier: GPL-3.0-or-later
// FolderWatch: reports changes in a folder through inotify, also while the folder does not exist yet.
#pragma once

#include "Platform/NSFileManager.h"

#include <QSocketNotifier>
#include <QTimer>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::desktop {

/// Watches the folder and its ancestors. The ancestors are only watched for being moved or deleted; while the
/// folder is missing, its nearest existing ancestor is also watched for new entries. There is no polling. If
/// the user has no inotify watches left, changes go unnoticed. Needs a running Qt event loop.
///
/// Changes that inotify does not report on these folders are missed: a volume mounted over one of them, or a
/// replaced symbolic link in the path.
class FolderWatch final : public lumicrate::FolderWatch {
 public:
    /// Throws PlatformError if the user has no inotify instances left.
    explicit FolderWatch(const std::filesystem::path& folder);
    ~FolderWatch() override;

    void setOnChange(Handler changed) override { changed_ = std::move(changed); }

 private:
    struct Event;
    class Inotify;

    void addWatches();
    void readEvents();
    void handle(const Event& event);
    void report();

    std::filesystem::path folder_;
    Handler changed_;
    std::unique_ptr<Inotify> inotify_;
    QSocketNotifier notifier_;
    QTimer delay_;
    std::vector<int> ancestors_;  ///< watches of the ancestors
    int watch_ = -1;              ///< of the folder itself, while it exists
    bool everything_ = false;
    std::set<std::string> names_;
};

}  // namespace lumicrate::desktop
