// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/AtomicFile.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

extern "C" {
#include <libavutil/error.h>
}

namespace lumicrate::media {

namespace {

constexpr mode_t mode = 0666;  // less the umask
constexpr const char* cannotWrite = translatable("The new file couldn't be written");

/// Unnamed files are named through this folder: linking the descriptor itself takes a privilege on older
/// kernels.
constexpr const char* openFiles = "/proc/self/fd/";

}  // namespace

AtomicFile::AtomicFile(std::filesystem::path path) : AtomicFile(std::move(path), localized(cannotWrite)) {}

AtomicFile::AtomicFile(std::filesystem::path path, std::string failure)
    : path_(std::move(path)), failure_(std::move(failure)) {
    // Checked again by linkat(); this spares writing the content in vain.
    struct stat existing {};
    if (lstat(path_.c_str(), &existing) == 0) failWithSystemCode(EEXIST);
    if (access(openFiles, X_OK) == 0)
        file_ = FileDescriptor(open(folderOf(path_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
    if (file_.isOpen()) return;
    const int reason = errno;
    createNamed();
    log(LogArea::movie, "no unnamed files here (error ", reason, "): the new file is created under its name");
}

AtomicFile::~AtomicFile() {
    if (isNamed_ && !isPublished_) unlink(path_.c_str());
}

void AtomicFile::createNamed() {
    file_ = FileDescriptor(open(path_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode));
    if (!file_.isOpen()) failWithSystemCode(errno);
    isNamed_ = true;
}

void AtomicFile::write(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    if (const int error = writeAll(file_, offset, bytes); error != 0) failWithSystemCode(error);
}

void AtomicFile::publish() {
    if (const int error = link(); error != 0) failWithSystemCode(error);
}

/// Returns 0, or the error number.
int AtomicFile::link() {
    if (!isNamed_) {
        const std::string source = openFiles + std::to_string(file_.get());
        if (linkat(AT_FDCWD, source.c_str(), AT_FDCWD, path_.c_str(), AT_SYMLINK_FOLLOW) != 0) return errno;
    }
    isPublished_ = true;
    return 0;
}

void AtomicFile::failWithSystemCode(int error) const {
    failWithCode(failure_, AVERROR(error));
}

void AtomicFile::fail(int error) {
    failWithCode(cannotWrite, error);
}

int AtomicFile::checked(int result) {
    if (result < 0) fail(result);
    return result;
}

FileDescriptor AtomicFile::create(const std::filesystem::path& path, std::string_view sentence,
                                  const Fill& fill) {
    AtomicFile file(path, localized(sentence) + " “" + path.string() + "”");
    fill(file.file_);
    int error = file.link();
    if (error != 0 && error != EEXIST) {
        log(LogArea::movie, "unnamed files can't be named here (error ", error, "): writing it again");
        file.file_ = FileDescriptor();  // frees its space first
        file.createNamed();
        fill(file.file_);
        error = file.link();
    }
    if (error != 0) file.failWithSystemCode(error);
    return std::move(file.file_);
}

FileDescriptor AtomicFile::replace(const std::filesystem::path& path, const std::string& temporaryName,
                                   std::string_view sentence, const Fill& fill) {
    const std::filesystem::path temporary = folderOf(path) / temporaryName;
    unlink(temporary.c_str());
    FileDescriptor file = create(temporary, sentence, [&](const FileDescriptor& filled) {
        fill(filled);
        if (fsync(filled.get()) != 0) failForPath(sentence, path, errno);
    });
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        failForPath(sentence, path, error);
    }
    synchronizeFolder(folderOf(path));
    return file;
}

}  // namespace lumicrate::media
