// FileManager and Calendar: the file system and the wall clock as the library uses them.
#pragma once

#include "Platform/NSFileManager.h"

namespace lumicrate::desktop {

class FileManager final : public NSFileManager {
 public:
    /// The user's videos folder, as the desktop has it configured.
    std::filesystem::path moviesDirectory() const override;
    bool fileExists(const std::filesystem::path& url) const override;
    void createDirectory(const std::filesystem::path& url) override;
    std::vector<NSFileEntry> contentsOfDirectory(const std::filesystem::path& url) const override;
    NSFileEntry attributes(const std::filesystem::path& url) const override;
    void removeItem(const std::filesystem::path& url) override;
    void moveItem(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void replaceItem(const std::filesystem::path& url, const std::filesystem::path& replacement) override;
    /// By the rules of the desktop (XDG Trash).
    void trashItem(const std::filesystem::path& url) override;
    std::optional<NSVolumeCapacity> volumeCapacity(const std::filesystem::path& url) const override;
};

class Calendar final : public NSCalendar {
 public:
    DateComponents now() const override;
};

}  // namespace lumicrate::desktop
