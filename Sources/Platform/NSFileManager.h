// SPDX-License-Identifier: GPL-3.0-or-later
// The file system and the wall clock, as far as the recorder and its library need them.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace lumicrate {

/// An entry of a folder. Values that could not be read are absent.
struct NSFileEntry {
    std::filesystem::path url;
    std::optional<std::chrono::system_clock::time_point> created;
    std::optional<std::uintmax_t> size;  ///< bytes; files only
};

/// The space on a volume, in bytes.
struct NSVolumeCapacity {
    std::uintmax_t available = 0;  ///< to this user
    std::uintmax_t total = 0;
};

/// Files and folders by absolute path. Any thread.
class NSFileManager {
 public:
    virtual ~NSFileManager() = default;

    /// The user's Movies folder; it need not exist.
    virtual std::filesystem::path moviesDirectory() const = 0;
    virtual bool fileExists(const std::filesystem::path& url) const = 0;
    /// Creates a folder and its parents; no effect if it exists. Throws PlatformError.
    virtual void createDirectory(const std::filesystem::path& url) = 0;
    /// Whether files can be created in it.
    virtual bool isWritableDirectory(const std::filesystem::path& url) const = 0;
    /// The visible entries of a folder, in no particular order. Throws PlatformError if it cannot be listed.
    virtual std::vector<NSFileEntry> contentsOfDirectory(const std::filesystem::path& url) const = 0;
    /// Creation date and size of a file; absent if they cannot be read.
    virtual NSFileEntry attributes(const std::filesystem::path& url) const = 0;
    /// Deletes a file. Throws PlatformError.
    virtual void removeItem(const std::filesystem::path& url) = 0;
    /// Renames a file on the same volume. Never overwrites a file. Throws PlatformError.
    virtual void moveItem(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    /// Replaces `url` with `replacement`, a file on the same volume, in a single step; the creation date and
    /// the permissions of `url` are kept. Throws PlatformError and leaves both files unchanged on failure,
    /// and also if there is no file at `url`.
    virtual void replaceItem(const std::filesystem::path& url, const std::filesystem::path& replacement) = 0;
    /// Moves a file to the user's Trash. Throws PlatformError.
    virtual void trashItem(const std::filesystem::path& url) = 0;
    /// Of the volume of `url`, which need not exist yet. None if the volume does not report its size.
    virtual std::optional<NSVolumeCapacity> volumeCapacity(const std::filesystem::path& url) const = 0;
};

/// What has changed in a watched folder since the last report.
struct FolderChanges {
    /// The folder was created, deleted or replaced, or events were lost: read all of it again.
    bool everything = false;
    /// Visible entries that were created, written, renamed or deleted, each once; both names of a renamed
    /// entry.
    std::vector<std::filesystem::path> urls;
};

/// Watches one folder, which need not exist yet and may be deleted. Changes are reported together, within
/// half a second of the first one. Main thread.
class FolderWatch {
 public:
    using Handler = std::function<void(const FolderChanges&)>;

    virtual ~FolderWatch() = default;
    /// `changed` is never called recursively. It must not destroy the watch.
    virtual void setOnChange(Handler changed) = 0;
};

/// Date and time of day in the user's time zone.
struct DateComponents {
    int year = 0;
    int month = 0;  ///< 1 … 12
    int day = 0;    ///< 1 … 31
    int hour = 0;
    int minute = 0;
    int second = 0;
};

/// The wall clock. Any thread.
class NSCalendar {
 public:
    virtual ~NSCalendar() = default;
    virtual DateComponents now() const = 0;
};

}  // namespace lumicrate
