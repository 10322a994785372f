// Workspace: files handed to other programs of the desktop.
#pragma once

#include "Platform/NSWorkspace.h"

namespace lumicrate::desktop {

/// Opens with xdg-open, which knows every desktop's way, and shows files through org.freedesktop.FileManager1
/// on the session bus, or else by opening their folder. Needs a running Qt event loop.
class Workspace final : public NSWorkspace {
 public:
    void openURL(const std::filesystem::path& url) override;
    void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) override;
};

}  // namespace lumicrate::desktop
