// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/FileManager.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QString>
#include <QTemporaryFile>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <system_error>

namespace lumicrate::desktop {

namespace {

[[noreturn]] void fail(const std::string& sentence, const std::filesystem::path& url,
                       const std::error_code& reason) {
    throw PlatformError(localized("{} “{}”: {}", {localized(sentence), url.string(), reason.message()}),
                        reason.value());
}

/// The creation date is the birth time if the file system stores one, or the modification time if that is
/// earlier, as after replaceItem() or in a copy that preserves times.
void readAttributes(NSFileEntry& entry) {
    struct statx attributes {};
    if (statx(AT_FDCWD, entry.url.c_str(), 0, STATX_TYPE | STATX_BTIME | STATX_MTIME | STATX_SIZE,
              &attributes) != 0)
        return;
    const auto timePoint = [](const statx_timestamp& stamp) {
        return std::chrono::system_clock::time_point(std::chrono::seconds(stamp.tv_sec) +
                                                     std::chrono::nanoseconds(stamp.tv_nsec));
    };
    entry.created = timePoint(attributes.stx_mtime);
    if ((attributes.stx_mask & STATX_BTIME) != 0)
        entry.created = std::min(*entry.created, timePoint(attributes.stx_btime));
    if (S_ISREG(attributes.stx_mode)) entry.size = attributes.stx_size;
}

}  // namespace

std::filesystem::path stateFolder() {
    const QString configured = qEnvironmentVariable("XDG_STATE_HOME");
    // The XDG Base Directory Specification says to ignore relative paths.
    const QString base =
        QDir::isAbsolutePath(configured) ? configured : QDir::homePath() + QStringLiteral("/.local/state");
    return std::filesystem::path(base.toStdString()) / "lumicrate";
}

std::filesystem::path FileManager::moviesDirectory() const {
    return QStandardPaths::writableLocation(QStandardPaths::MoviesLocation).toStdString();
}

bool FileManager::fileExists(const std::filesystem::path& url) const {
    // Does not follow links: a dangling link occupies its name, too. A name that cannot be looked up, because
    // it is too long for instance, does not count: the search for a free name would never end.
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(url, ignored));
}

void FileManager::createDirectory(const std::filesystem::path& url) {
    std::error_code error;
    std::filesystem::create_directories(url, error);
    if (error) fail(translatable("The folder couldn't be created:"), url, error);
}

bool FileManager::isWritableDirectory(const std::filesystem::path& url) const {
    // A trial: permission bits do not tell about read-only volumes.
    QTemporaryFile trial(QString::fromStdString((url / ".lumicrate-XXXXXX").string()));
    return trial.open();
}

std::vector<NSFileEntry> FileManager::contentsOfDirectory(const std::filesystem::path& url) const {
    std::error_code error;
    std::vector<NSFileEntry> entries;
    std::filesystem::directory_iterator each(url, error);
    for (; !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        if (each->path().filename().string().starts_with('.')) continue;
        readAttributes(entries.emplace_back(NSFileEntry{each->path(), std::nullopt, std::nullopt}));
    }
    if (error) fail(translatable("The folder couldn't be read:"), url, error);
    return entries;
}

NSFileEntry FileManager::attributes(const std::filesystem::path& url) const {
    NSFileEntry entry{url, std::nullopt, std::nullopt};
    readAttributes(entry);
    return entry;
}

void FileManager::removeItem(const std::filesystem::path& url) {
    std::error_code error;
    if (!std::filesystem::remove(url, error) && !error)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error) fail(translatable("The file couldn't be deleted:"), url, error);
}

void FileManager::moveItem(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
    int reason = errno;
    if (reason == EINVAL || reason == ENOSYS) {
        // No RENAME_NOREPLACE here: check, then rename (racy).
        log(LogArea::desktop, "no RENAME_NOREPLACE on this file system");
        if (fileExists(to)) {
            reason = EEXIST;
        } else if (rename(from.c_str(), to.c_str()) == 0) {
            return;
        } else {
            reason = errno;
        }
    }
    fail(translatable("The file couldn't be renamed:"), from,
         std::error_code(reason, std::generic_category()));
}

void FileManager::replaceItem(const std::filesystem::path& url, const std::filesystem::path& replacement) {
    const auto require = [&url](bool done) {
        if (!done)
            fail(translatable("The file couldn't be replaced:"), url,
                 std::error_code(errno, std::generic_category()));
    };
    struct stat before {};
    require(stat(url.c_str(), &before) == 0);
    const NSFileEntry original = attributes(url);
    require(chmod(replacement.c_str(), before.st_mode & 07777) == 0);
    if (original.created) {
        // The birth time cannot be set, but readAttributes() prefers an earlier modification time.
        const auto since = original.created->time_since_epoch();
        const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
        const timespec created{static_cast<std::time_t>(seconds.count()),
                               static_cast<long>(std::chrono::nanoseconds(since - seconds).count())};
        const std::array<timespec, 2> times{created, created};
        require(utimensat(AT_FDCWD, replacement.c_str(), times.data(), 0) == 0);
    }
    // The replacement must be on disk before the original is gone.
    const int written = open(replacement.c_str(), O_RDONLY | O_CLOEXEC);
    require(written >= 0);
    const bool synchronized = fsync(written) == 0;
    const int reason = errno;
    close(written);
    errno = reason;
    require(synchronized);
    require(rename(replacement.c_str(), url.c_str()) == 0);
}

void FileManager::trashItem(const std::filesystem::path& url) {
    // If the parent folder of the Trash is missing, as for a new user, Qt 6.4 would move the file into the
    // working directory.
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    createDirectory(data.toStdString());
    QFile file(QString::fromStdString(url.string()));
    if (file.moveToTrash()) return;
    throw PlatformError(localized("The file couldn't be moved to the Trash: “{}”: {}",
                                  {url.string(), file.errorString().toStdString()}));
}

std::optional<NSVolumeCapacity> FileManager::volumeCapacity(const std::filesystem::path& url) const {
    std::error_code unknown;
    std::filesystem::path existing = url;
    while (!std::filesystem::exists(existing, unknown) && existing.has_relative_path())
        existing = existing.parent_path();
    const std::filesystem::space_info space = std::filesystem::space(existing, unknown);
    // Virtual file systems such as /proc have no capacity.
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
