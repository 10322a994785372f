// SPDX-License-Identifier: GPL-3.0-or-later
// What the desktop does for the program, mostly over the session bus: ProcessInfo (keeping the display
// awake), Workspace (opening files) and TaskLauncher (other programs). All on the main thread, with a running
// Qt event loop.
#pragma once

#include "Platform/NSProcessInfo.h"
#include "Platform/NSTask.h"
#include "Platform/NSWorkspace.h"

#include <functional>
#include <memory>
#include <string>

namespace lumicrate::desktop {

/// Activities are Inhibitions. Without the services that these ask, activities have no effect.
class ProcessInfo final : public NSProcessInfo {
 public:
    /// Keeps the display awake while its result lives. `reason` is a sentence that the desktop may show.
    using Inhibitor = std::function<std::unique_ptr<NSActivity>(const std::string& reason)>;

    /// `inhibitor` is used instead of that service, unless it is empty.
    explicit ProcessInfo(Inhibitor inhibitor = {});

    std::int32_t processIdentifier() const override;
    /// CLOCK_BOOTTIME minus CLOCK_MONOTONIC.
    std::chrono::nanoseconds timeAsleep() const override;
    std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) override;
    std::unique_ptr<NSActivity> holdNotifications(const std::string& reason) override;

 private:
    Inhibitor inhibitor_;
};

/// Whether this copy is a Flatpak or Snap, which only its store can update.
bool isUpdatedByStore();

/// The programs' standard error is that of this process, their output is discarded.
class TaskLauncher final : public NSTaskLauncher {
 public:
    void launch(const std::vector<std::string>& programAndArguments,
                std::function<void(int status)> ended) override;
};

/// Opens files and web pages with xdg-open. Shows files through org.freedesktop.FileManager1; without that
/// service, opens their folder.
class Workspace final : public NSWorkspace {
 public:
    /// Receives a sentence for the user when xdg-open was started, but could not open the file. Not called
    /// after the workspace's destruction.
    using FailureHandler = std::function<void(const std::string& sentence)>;

    explicit Workspace(FailureHandler failed = {});

    void openURL(const std::filesystem::path& url) override;
    void openWebPage(const std::string& address) override;
    void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) override;

 private:
    FailureHandler failureHandler() const;

    std::shared_ptr<const FailureHandler> failed_;
};

}  // namespace lumicrate::desktop
