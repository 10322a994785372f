// SPDX-License-Identifier: GPL-3.0-or-later
// NSWorkspace: opens files in other programs, and shows them in the file viewer.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate {

/// Main thread. The calls do not wait for the other program.
class NSWorkspace {
 public:
    virtual ~NSWorkspace() = default;

    /// Opens a file with the default application for its type. Throws PlatformError if there is none.
    virtual void openURL(const std::filesystem::path& url) = 0;
    /// Opens an https address in the web browser. Throws PlatformError like openURL.
    virtual void openWebPage(const std::string& address) = 0;
    /// Selects the files in the file viewer, or at least shows their folder. Throws PlatformError if there is
    /// no file viewer.
    virtual void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) = 0;
};

}  // namespace lumicrate
