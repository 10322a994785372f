// SPDX-License-Identifier: GPL-3.0-or-later
// FileManager and Calendar: the file system and the wall clock.
#pragma once

#include "Platform/NSFileManager.h"

namespace lumicrate::desktop {

/// The program's folder for data that must survive between runs but is neither a setting nor a document:
/// "lumicrate" in the XDG state folder. It need not exist.
std::filesystem::path stateFolder();

class FileManager final : public NSFileManager {
 public:
    /// The XDG videos folder.
    std::filesystem::path moviesDirectory() const override;
    bool fileExists(const std::filesystem::path& url) const override;
    void createDirectory(const std::filesystem::path& url) override;
    bool isWritableDirectory(const std::filesystem::path& url) const override;
    std::vector<NSFileEntry> contentsOfDirectory(const std::filesystem::path& url) const override;
    NSFileEntry attributes(const std::filesystem::path& url) const override;
    void removeItem(const std::filesystem::path& url) override;
    void moveItem(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void replaceItem(const std::filesystem::path& url, const std::filesystem::path& replacement) override;
    /// The XDG Trash.
    void trashItem(const std::filesystem::path& url) override;
    std::optional<NSVolumeCapacity> volumeCapacity(const std::filesystem::path& url) const override;
};

class Calendar final : public NSCalendar {
 public:
    DateComponents now() const override;
};

}  // namespace lumicrate::desktop
