// FolderWatch: being told when the files of a folder change.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

namespace lumicrate {

/// What has changed since the last time.
struct FolderChanges {
    /// The folder came, went or was replaced, or more happened than can be told: all of it has to be read.
    bool everything = false;
    /// Visible entries that were made, written, renamed or deleted, each once; a renamed one with both of
    /// its names.
    std::vector<std::filesystem::path> urls;
};

/// Watches one folder, also before it is there and after it was deleted. Changes are told together, within
/// half a second of the first of them. Main thread.
class FolderWatch {
 public:
    using Handler = std::function<void(const FolderChanges&)>;

    virtual ~FolderWatch() = default;
    /// Never called inside another call. Must not destroy the watch.
    virtual void setOnChange(Handler changed) = 0;
};

}  // namespace lumicrate
