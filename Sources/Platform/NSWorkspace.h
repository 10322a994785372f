// What other programs of the desktop do with files: open them, and show where they are.
#pragma once

#include <filesystem>
#include <vector>

namespace lumicrate {

/// Main thread. Neither call waits for the other program.
class NSWorkspace {
 public:
    virtual ~NSWorkspace() = default;

    /// Opens a file with the default application for its type. Throws PlatformError when there is nothing to
    /// open it with.
    virtual void openURL(const std::filesystem::path& url) = 0;
    /// Shows the files, selected, in the file viewer; at least their folder. Throws PlatformError when there
    /// is no file viewer.
    virtual void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) = 0;
};

}  // namespace lumicrate
