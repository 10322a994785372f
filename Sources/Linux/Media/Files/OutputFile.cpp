#include "Linux/Media/Files/OutputFile.h"

#include "Linux/Media/Files/Failure.h"

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

constexpr const char* cannotCreate = "The movie file couldn't be created:";
constexpr const char* cannotOpen = "The movie file couldn't be opened:";
constexpr const char* cannotReplace = "The movie file couldn't be replaced:";
constexpr const char* cannotRead = "The movie file couldn't be read";
constexpr const char* cannotWrite = "The movie file couldn't be written";

[[noreturn]] void fail(const char* sentence, int error) {
    failWithCode(sentence, AVERROR(error));
}

/// Takes the lock without waiting; 0, or the system's code.
int lock(const FileDescriptor& file) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(file.get(), F_OFD_SETLK, &whole) == 0 ? 0 : errno;
}

/// The lock of a file that nobody else knows yet; a file system without locks must not stop a recording.
void lockIfPossible(const FileDescriptor& file) {
    [[maybe_unused]] const int error = lock(file);
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

/// A span of one file that is to stand at a place of another.
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
        const std::int64_t count = readWhole(source, copy.from, bytes);
        if (count < 0) fail(cannotRead, static_cast<int>(-count));
        if (static_cast<std::size_t>(count) < bytes.size()) fail(cannotRead, EIO);  // it has been cut off
        if (const int error = writeWhole(target, copy.target, bytes); error != 0) fail(cannotWrite, error);
        copy.from += bytes.size();
        copy.target += bytes.size();
    }
}

/// Has the file system copy as much as it can, which may share the blocks, and does the rest itself.
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

/// The first stretch from `from` on that is not a hole; an empty one at `to` when there is none. A file
/// system that does not know holes has none.
Extent nextData(const FileDescriptor& file, std::uint64_t from, std::uint64_t to) {
    const off_t data = lseek(file.get(), static_cast<off_t>(from), SEEK_DATA);
    if (data < 0) return errno == ENXIO ? Extent{to, to} : Extent{from, to};
    const off_t hole = lseek(file.get(), data, SEEK_HOLE);
    const auto begin = static_cast<std::uint64_t>(data);
    return {std::min(begin, to), hole <= data ? to : std::min(static_cast<std::uint64_t>(hole), to)};
}

/// Copies what is there and leaves out the holes, so that these take no room in the copy either.
void copySparsely(const FileDescriptor& source, const FileDescriptor& target, const Copy& copy) {
    for (std::uint64_t place = copy.from; place < copy.to;) {
        const Extent data = nextData(source, place, copy.to);
        copyBytes(source, target, {data.begin, data.end, copy.target + (data.begin - copy.from)});
        place = data.end;
    }
    const std::uint64_t size = copy.target + (copy.to - copy.from);
    if (ftruncate(target.get(), static_cast<off_t>(size)) != 0) fail(cannotWrite, errno);
}

/// Fills a new file with a head and a span of an old one, and locks it.
FillFile headAndMedia(std::span<const std::uint8_t> head, const FileDescriptor& source, std::uint64_t from,
                      std::uint64_t to) {
    return [=, &source](const FileDescriptor& file) {
        lockIfPossible(file);
        if (const int error = writeWhole(file, 0, head); error != 0) fail(cannotWrite, error);
        copySparsely(source, file, {from, to, head.size()});
    };
}

/// Whether the file system has refused an operation because it does not have it.
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
    return {path, createWhole(path, cannotCreate, [&](const FileDescriptor& file) {
                lockIfPossible(file);
                const int error = writeWhole(file, 0, head);
                if (error != 0) failForPath(cannotCreate, path, error);
            })};
}

std::optional<OutputFile> OutputFile::open(const std::filesystem::path& path) {
    // Whatever has taken the place of the file meanwhile: opening it must neither wait nor do anything.
    constexpr int harmless = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | harmless));
    if (!file.isOpen()) failForPath(cannotOpen, path, errno);
    if (!S_ISREG(statusOf(file, cannotRead).st_mode)) failForPath(cannotOpen, path, EINVAL);
    const int error = lock(file);
    if (error == EAGAIN || error == EACCES) return std::nullopt;
    if (error != 0) failForPath(cannotOpen, path, error);
    OutputFile opened(path, std::move(file));
    // Between opening and locking another process may have completed it and put a new one in its place.
    if (!opened.isLinked()) return std::nullopt;
    return opened;
}

std::uint64_t OutputFile::size() const {
    return static_cast<std::uint64_t>(statusOf(file_, cannotRead).st_size);
}

void OutputFile::write(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    if (const int error = writeWhole(file_, offset, bytes); error != 0) fail(cannotWrite, error);
}

void OutputFile::synchronize() {
    if (fdatasync(file_.get()) != 0) fail(cannotWrite, errno);
    if (!nameLasts_) synchronizeFolder(folderOf(path_));
    nameLasts_ = true;
}

std::size_t OutputFile::read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    const std::int64_t count = readWhole(file_, offset, bytes);
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
    file_ = replaceWhole(path_, temporaryName, cannotReplace, headAndMedia(head, file_, mediaFrom, mediaTo));
    nameLasts_ = true;
}

void OutputFile::rescueCopy() {
    std::error_code error;
    std::filesystem::create_directories(folderOf(path_), error);
    if (error) failForPath(cannotCreate, path_, error.value());
    file_ = createWhole(path_, cannotCreate, headAndMedia({}, file_, 0, size()));
    nameLasts_ = false;
}

}  // namespace lumicrate::media
