// The file system, as far as the recorder and its library need it.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace lumicrate {

/// One entry of a folder. Values that could not be read are absent.
struct NSFileEntry {
    std::filesystem::path url;
    std::optional<std::chrono::system_clock::time_point> created;
    std::optional<std::uintmax_t> size;  ///< bytes; of a file only
};

/// How full a volume is, in bytes.
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
    /// Creates a folder with all that lead to it; one that exists is fine. Throws PlatformError.
    virtual void createDirectory(const std::filesystem::path& url) = 0;
    /// The visible entries of a folder, in the folder's own order. Throws PlatformError when it cannot be
    /// listed.
    virtual std::vector<NSFileEntry> contentsOfDirectory(const std::filesystem::path& url) const = 0;
    /// When a file was created and how large it is; nothing for what cannot be read.
    virtual NSFileEntry attributes(const std::filesystem::path& url) const = 0;
    /// Deletes a file. Throws PlatformError.
    virtual void removeItem(const std::filesystem::path& url) = 0;
    /// Gives a file another name on the same volume; nothing is ever overwritten. Throws PlatformError.
    virtual void moveItem(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    /// Puts `replacement`, on the same volume, in the place of `url` in a single step; it keeps the date of
    /// creation and the permissions. Throws PlatformError, and leaves both as they were, when that cannot be
    /// done, also when there is nothing at `url` any more.
    virtual void replaceItem(const std::filesystem::path& url, const std::filesystem::path& replacement) = 0;
    /// Moves a file to the user's Trash. Throws PlatformError.
    virtual void trashItem(const std::filesystem::path& url) = 0;
    /// Of the volume that `url` is on, or would be on if it and the folders leading to it were made. Nothing
    /// where the volume does not tell.
    virtual std::optional<NSVolumeCapacity> volumeCapacity(const std::filesystem::path& url) const = 0;
};

/// A date and time of day in the user's time zone, as a formatter needs them.
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
