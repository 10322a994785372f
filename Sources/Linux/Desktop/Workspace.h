// SPDX-License-Identifier: GPL-3.0-or-later
// Workspace: opens files in other programs and shows them in the file manager.
#pragma once

#include "Platform/NSWorkspace.h"

namespace lumicrate::desktop {

/// Opens files with xdg-open. Shows files through org.freedesktop.FileManager1 on the session bus; without
/// that service, opens their folder. Needs a running Qt event loop.
class Workspace final : public NSWorkspace {
 public:
    void openURL(const std::filesystem::path& url) override;
    void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) override;
};

}  // namespace lumicrate::desktop
