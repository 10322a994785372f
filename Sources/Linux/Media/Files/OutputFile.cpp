// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/OutputFile.h"

#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Files/Failure.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/error.h>
}

namespace lumicrate::media {

namespace {

constexpr const char* cannotCreate = translatable("The movie file couldn't be created:");
constexpr const char* cannotOpen = translatable("The movie file couldn't be opened:");
constexpr const char* cannotReplace = translatable("The movie file couldn't be replaced:");
constexpr const char* cannotRead = translatable("The movie file couldn't be read");
constexpr const char* cannotWrite = translatable("The movie file couldn't be written");

[[noreturn]] void fail(const char* sentence, int error) {
    failWithCode(sentence, AVERROR(error));
}

/// Takes the lock without waiting. Returns 0, or the error number.
int lock(const FileDescriptor& file) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(file.get(), F_OFD_SETLK, &whole) == 0 ? 0 : errno;
}

/// Locks a new file, which nobody else can have locked. A file system without locks must not prevent a
/// recording.
void lockIfPossible(const FileDescriptor& file) {
    if (const int error = lock(file); error != 0)
        log(LogArea::movie, "the movie file isn't locked: error ", error);
}

struct stat statusOf(const FileDescriptor& file, const char* sentence) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) fail(sentence, errno);
    return status;
}

struct Extent {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

/// Bytes [from, to) of one file, to be copied to offset `target` of another.
struct Copy {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    std::uint64_t target = 0;
};

void copyThroughMemory(const FileDescriptor& source, const FileDescriptor& target, Copy copy) {
    constexpr std::uint64_t piece = 1 << 20;
    std::vector<std::uint8_t> buffer(std::min(piece, copy.to - copy.from));
    while (copy.from < copy.to) {
        const std::span bytes(buffer.data(), std::min<std::uint64_t>(buffer.size(), copy.to - copy.from));
        const std::int64_t count = readAll(source, copy.from, bytes);
        if (count < 0) fail(cannotRead, static_cast<int>(-count));
        if (static_cast<std::size_t>(count) < bytes.size()) fail(cannotRead, EIO);  // it was truncated
        if (const int error = writeAll(target, copy.target, bytes); error != 0) fail(cannotWrite, error);
        copy.from += bytes.size();
        copy.target += bytes.size();
    }
}

/// Lets the file system copy, which may share the blocks, and copies through memory what it can't.
void copyBytes(const FileDescriptor& source, const FileDescriptor& target, Copy copy) {
    while (copy.from < copy.to) {
        auto from = static_cast<off_t>(copy.from);
        auto to = static_cast<off_t>(copy.target);
        const ssize_t count = copy_file_range(source.get(), &from, target.get(), &to, copy.to - copy.from, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == ENOSPC) fail(cannotWrite, ENOSPC);
        if (count <= 0) return copyThroughMemory(source, target, copy);
        copy.from += static_cast<std::uint64_t>(count);
        copy.target += static_cast<std::uint64_t>(count);
    }
}

/// The first data in [from, to), without the holes before and behind it; empty, at `to`, when there are only
/// holes. Without support for holes it is the whole range.
Extent nextData(const FileDescriptor& file, std::uint64_t from, std::uint64_t to) {
    const off_t data = lseek(file.get(), static_cast<off_t>(from), SEEK_DATA);
    if (data < 0) return errno == ENXIO ? Extent{to, to} : Extent{from, to};
    const off_t hole = lseek(file.get(), data, SEEK_HOLE);
    const auto begin = static_cast<std::uint64_t>(data);
    return {std::min(begin, to), hole <= data ? to : std::min(static_cast<std::uint64_t>(hole), to)};
}

/// Copies the data and skips the holes, so that they take no space in the copy either.
void copySparse(const FileDescriptor& source, const FileDescriptor& target, const Copy& copy) {
    for (std::uint64_t place = copy.from; place < copy.to;) {
        const Extent data = nextData(source, place, copy.to);
        copyBytes(source, target, {data.begin, data.end, copy.target + (data.begin - copy.from)});
        place = data.end;
    }
    const std::uint64_t size = copy.target + (copy.to - copy.from);
    if (ftruncate(target.get(), static_cast<off_t>(size)) != 0) fail(cannotWrite, errno);
}

/// Fills a new file with a head and a range of an old one, and locks it.
AtomicFile::Fill headAndMedia(std::span<const std::uint8_t> head, const FileDescriptor& source,
                              std::uint64_t from, std::uint64_t to) {
    return [=, &source](const FileDescriptor& file) {
        lockIfPossible(file);
        if (const int error = writeAll(file, 0, head); error != 0) fail(cannotWrite, error);
        copySparse(source, file, {from, to, head.size()});
    };
}

bool isUnsupported(int error) {
    return error == EOPNOTSUPP || error == ENOSYS;
}

int allocate(const FileDescriptor& file, int mode, std::uint64_t offset, std::uint64_t length) {
    int result = 0;
    do {
        result = fallocate(file.get(), mode, static_cast<off_t>(offset), static_cast<off_t>(length));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

}  // namespace

OutputFile::OutputFile(std::filesystem::path path, FileDescriptor file)
    : path_(std::move(path)), file_(std::move(file)) {}

OutputFile OutputFile::create(const std::filesystem::path& path, std::span<const std::uint8_t> head) {
    return {path, AtomicFile::create(path, cannotCreate, [&](const FileDescriptor& file) {
                lockIfPossible(file);
                const int error = writeAll(file, 0, head);
                if (error != 0) failForPath(cannotCreate, path, error);
            })};
}

std::optional<OutputFile> OutputFile::open(const std::filesystem::path& path) {
    // Something else may have the name by now; opening a pipe or a terminal must neither block nor have
    // effects.
    constexpr int harmless = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | harmless));
    if (!file.isOpen()) failForPath(cannotOpen, path, errno);
    if (!S_ISREG(statusOf(file, cannotRead).st_mode)) failForPath(cannotOpen, path, EINVAL);
    const int error = lock(file);
    if (error == EAGAIN || error == EACCES) return std::nullopt;
    if (error != 0) failForPath(cannotOpen, path, error);
    OutputFile opened(path, std::move(file));
    // Between open and lock, another process may have completed the file and replaced it.
    if (!opened.isLinked()) return std::nullopt;
    return opened;
}

std::uint64_t OutputFile::size() const {
    return static_cast<std::uint64_t>(statusOf(file_, cannotRead).st_size);
}

void OutputFile::write(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    if (const int error = writeAll(file_, offset, bytes); error != 0) fail(cannotWrite, error);
}

void OutputFile::synchronize() {
    if (fdatasync(file_.get()) != 0) fail(cannotWrite, errno);
    if (!isFolderSynced_) synchronizeFolder(folderOf(path_));
    isFolderSynced_ = true;
}

std::size_t OutputFile::read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    const std::int64_t count = readAll(file_, offset, bytes);
    if (count < 0) fail(cannotRead, static_cast<int>(-count));
    return static_cast<std::size_t>(count);
}

void OutputFile::truncate(std::uint64_t size) {
    if (ftruncate(file_.get(), static_cast<off_t>(size)) != 0) fail(cannotWrite, errno);
}

void OutputFile::dropFromMemory(std::uint64_t offset, std::uint64_t length) {
    posix_fadvise(file_.get(), static_cast<off_t>(offset), static_cast<off_t>(length), POSIX_FADV_DONTNEED);
}

bool OutputFile::reserve(std::uint64_t offset, std::uint64_t length) {
    const int error = allocate(file_, FALLOC_FL_KEEP_SIZE, offset, length);
    if (error != 0 && !isUnsupported(error)) fail(cannotWrite, error);
    return error == 0;
}

bool OutputFile::insertRange(std::uint64_t offset, std::uint64_t length) {
    const int error = allocate(file_, FALLOC_FL_INSERT_RANGE, offset, length);
    if (error != 0 && error != EINVAL && !isUnsupported(error)) fail(cannotWrite, error);
    return error == 0;
}

bool OutputFile::isLinked() const {
    struct stat own {};
    struct stat named {};
    return fstat(file_.get(), &own) == 0 && lstat(path_.c_str(), &named) == 0 && own.st_dev == named.st_dev &&
           own.st_ino == named.st_ino;
}

bool OutputFile::isDeleted() const {
    return statusOf(file_, cannotRead).st_nlink == 0;
}

bool OutputFile::remove() noexcept {
    return isLinked() && unlink(path_.c_str()) == 0;
}

void OutputFile::replaceByCopy(std::span<const std::uint8_t> head, std::uint64_t mediaFrom,
                               std::uint64_t mediaTo, const std::string& temporaryName) {
    if (!isLinked()) failForPath(cannotReplace, path_, ENOENT);
    log(LogArea::movie, "copying ", mediaTo - mediaFrom, " bytes of media behind a larger head");
    file_ = AtomicFile::replace(path_, temporaryName, cannotReplace,
                                headAndMedia(head, file_, mediaFrom, mediaTo));
    isFolderSynced_ = true;
}

void OutputFile::rescueCopy() {
    std::error_code error;
    std::filesystem::create_directories(folderOf(path_), error);
    if (error) failForPath(cannotCreate, path_, error.value());
    log(LogArea::movie, "the movie file was deleted: copying it from the open descriptor");
    file_ = AtomicFile::create(path_, cannotCreate, headAndMedia({}, file_, 0, size()));
    isFolderSynced_ = false;
}

}  // namespace lumicrate::media
