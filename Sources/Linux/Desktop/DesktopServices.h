// SPDX-License-Identifier: GPL-3.0-or-later
// What the desktop does for the program, mostly over the session bus: Appearance (the colour scheme),
// ProcessInfo (keeping the display awake) and Workspace (opening files). All on the main thread, with a
// running Qt event loop.
#pragma once

#include "Platform/NSProcessInfo.h"
#include "Platform/NSWorkspace.h"

#include <functional>
#include <memory>
#include <string>

namespace lumicrate::desktop {

/// Reads and follows the desktop's color scheme in the settings portal. Without a portal the scheme is light.
class Appearance {
 public:
    /// The scheme is light at first; `changed` is called at every change of it. If the desktop is dark
    /// already, that is as soon as the portal has answered.
    explicit Appearance(std::function<void(bool dark)> changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

 private:
    class Portal;

    std::unique_ptr<Portal> portal_;
};

/// Activities inhibit org.freedesktop.ScreenSaver, which every current desktop provides. Without a session
/// bus or that service, activities have no effect.
class ProcessInfo final : public NSProcessInfo {
 public:
    std::int32_t processIdentifier() const override;
    /// CLOCK_BOOTTIME minus CLOCK_MONOTONIC.
    std::chrono::nanoseconds timeAsleep() const override;
    std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) override;
};

/// Whether this copy is a Flatpak or Snap, which only its store can update.
bool isUpdatedByStore();

/// Opens files and web pages with xdg-open. Shows files through org.freedesktop.FileManager1; without that
/// service, opens their folder.
class Workspace final : public NSWorkspace {
 public:
    /// Receives a sentence for the user when xdg-open was started, but could not open the file.
    using FailureHandler = std::function<void(const std::string& sentence)>;

    explicit Workspace(FailureHandler failed = {});

    void openURL(const std::filesystem::path& url) override;
    void openWebPage(const std::string& address) override;
    void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) override;

 private:
    FailureHandler failed_;
};

}  // namespace lumicrate::desktop
