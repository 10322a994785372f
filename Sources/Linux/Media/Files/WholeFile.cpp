#include "Linux/Media/Files/WholeFile.h"

#include "Linux/Media/Files/Failure.h"
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

constexpr mode_t readableByAll = 0666;  // less the umask

FileDescriptor fillNamed(const std::filesystem::path& path, std::string_view sentence, const FillFile& fill) {
    FileDescriptor file = createNamed(path);
    if (!file.isOpen()) failForPath(sentence, path, errno);
    try {
        fill(file);
    } catch (...) {
        unlink(path.c_str());
        throw;
    }
    return file;
}

}  // namespace

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
}

void failForPath(std::string_view sentence, const std::filesystem::path& path, int error) {
    failWithCode(localized(sentence) + " “" + path.string() + "”", AVERROR(error));
}

FileDescriptor createUnnamed(const std::filesystem::path& folder) {
    return FileDescriptor(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, readableByAll));
}

FileDescriptor createNamed(const std::filesystem::path& path) {
    return FileDescriptor(open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, readableByAll));
}

int giveName(const FileDescriptor& file, const std::filesystem::path& path) {
    // Naming the descriptor itself would take a privilege on older kernels.
    const std::string descriptor = "/proc/self/fd/" + std::to_string(file.get());
    const int result = linkat(AT_FDCWD, descriptor.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW);
    return result == 0 ? 0 : errno;
}

int writeWhole(const FileDescriptor& file, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return 0;
}

std::int64_t readWhole(const FileDescriptor& file, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            pread(file.get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -errno;
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return static_cast<std::int64_t>(done);
}

FileDescriptor createWhole(const std::filesystem::path& path, std::string_view sentence,
                           const FillFile& fill) {
    // Known only for sure when the name is given, but much may have been filled in by then.
    struct stat existing {};
    if (lstat(path.c_str(), &existing) == 0) failForPath(sentence, path, EEXIST);

    FileDescriptor file = createUnnamed(folderOf(path));
    if (file.isOpen()) {
        fill(file);
        const int error = giveName(file, path);
        if (error == 0) return file;
        if (error == EEXIST) failForPath(sentence, path, error);
        file = FileDescriptor();  // it takes room
    }
    // Whatever has stopped the above, if it stops this too, its reason is the one to tell.
    return fillNamed(path, sentence, fill);
}

FileDescriptor replaceWhole(const std::filesystem::path& path, const std::string& temporaryName,
                            std::string_view sentence, const FillFile& fill) {
    const std::filesystem::path temporary = folderOf(path) / temporaryName;
    unlink(temporary.c_str());
    FileDescriptor file = createWhole(temporary, sentence, [&](const FileDescriptor& filled) {
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

std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

void synchronizeFolder(const std::filesystem::path& folder) noexcept {
    const FileDescriptor file(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (file.isOpen()) fsync(file.get());
}

}  // namespace lumicrate::media
