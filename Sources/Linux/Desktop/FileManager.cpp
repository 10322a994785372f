#include "Linux/Desktop/FileManager.h"

#include "Support/Error.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <QStandardPaths>
#include <QString>
#include <ctime>
#include <system_error>

namespace lumicrate::desktop {

namespace {

[[noreturn]] void fail(const std::string& sentence, const std::filesystem::path& url,
                       const std::error_code& reason) {
    throw PlatformError(localized(sentence) + " “" + url.string() + "”: " + reason.message(), reason.value());
}

/// The birth time where the file system keeps one, else the last change, which is the nearest thing it has.
void readAttributes(NSFileEntry& entry) {
    struct statx attributes {};
    if (statx(AT_FDCWD, entry.url.c_str(), 0, STATX_BTIME | STATX_MTIME | STATX_SIZE, &attributes) != 0)
        return;
    const auto& stamp =
        (attributes.stx_mask & STATX_BTIME) != 0 ? attributes.stx_btime : attributes.stx_mtime;
    entry.created = std::chrono::system_clock::time_point(std::chrono::seconds(stamp.tv_sec) +
                                                          std::chrono::nanoseconds(stamp.tv_nsec));
    entry.size = attributes.stx_size;
}

}  // namespace

std::filesystem::path FileManager::moviesDirectory() const {
    return QStandardPaths::writableLocation(QStandardPaths::MoviesLocation).toStdString();
}

bool FileManager::fileExists(const std::filesystem::path& url) const {
    // A name that is taken by a dangling link is taken too.
    std::error_code ignored;
    return std::filesystem::symlink_status(url, ignored).type() != std::filesystem::file_type::not_found;
}

void FileManager::createDirectory(const std::filesystem::path& url) {
    std::error_code error;
    std::filesystem::create_directories(url, error);
    if (error) fail("The folder couldn't be created:", url, error);
}

std::vector<NSFileEntry> FileManager::contentsOfDirectory(const std::filesystem::path& url) const {
    std::error_code error;
    std::vector<NSFileEntry> entries;
    std::filesystem::directory_iterator each(url, error);
    for (; !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        if (each->path().filename().string().starts_with('.')) continue;
        readAttributes(entries.emplace_back(NSFileEntry{each->path(), std::nullopt, std::nullopt}));
    }
    if (error) fail("The folder couldn't be read:", url, error);
    return entries;
}

void FileManager::removeItem(const std::filesystem::path& url) {
    std::error_code error;
    if (!std::filesystem::remove(url, error) && !error)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error) fail("The file couldn't be deleted:", url, error);
}

std::optional<NSVolumeCapacity> FileManager::volumeCapacity(const std::filesystem::path& url) const {
    std::error_code unknown;
    std::filesystem::path existing = url;
    while (!std::filesystem::exists(existing, unknown) && existing.has_relative_path())
        existing = existing.parent_path();
    const std::filesystem::space_info space = std::filesystem::space(existing, unknown);
    // Volumes that store nothing themselves have no blocks to count.
    if (unknown || space.capacity == 0) return std::nullopt;
    return NSVolumeCapacity{space.available, space.capacity};
}

DateComponents Calendar::now() const {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec};
}

}  // namespace lumicrate::desktop
