// Files that come into being whole: nobody sees one of their names before all of the first content is there.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace lumicrate::media {

/// Closes itself.
class FileDescriptor {
 public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.descriptor_) {
        other.descriptor_ = -1;
    }
    /// Closes what was open here, at the latest with `other`.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    int get() const { return descriptor_; }
    bool isOpen() const { return descriptor_ >= 0; }

 private:
    int descriptor_ = -1;
};

/// Throws PlatformError: `sentence` (not yet localized, ending in a colon), the path in quotes and the
/// system's reason.
[[noreturn]] void failForPath(std::string_view sentence, const std::filesystem::path& path, int error);

/// A new file for reading and writing, mode 0666 less the umask: without a name, on the volume of `folder`,
/// or with one that nothing bears yet. Not open where that cannot be had; errno tells why.
FileDescriptor createUnnamed(const std::filesystem::path& folder);
FileDescriptor createNamed(const std::filesystem::path& path);
/// Gives an unnamed file a name that nothing bears yet; 0, or the system's code.
int giveName(const FileDescriptor& file, const std::filesystem::path& path);

/// Writes all of `bytes`; 0, or the system's code.
int writeWhole(const FileDescriptor& file, std::uint64_t offset, std::span<const std::uint8_t> bytes);
/// Fills `bytes` as far as the file reaches; how many were read, or the system's code, negative.
std::int64_t readWhole(const FileDescriptor& file, std::uint64_t offset, std::span<std::uint8_t> bytes);

/// Puts the first content into a file that nobody sees yet. It may be called twice, for two files, of which
/// only the second remains. What it throws ends the creation without a trace.
using FillFile = std::function<void(const FileDescriptor&)>;

/// Creates a file that `fill` has filled, for reading and writing, mode 0666 less the umask. Throws
/// PlatformError, `sentence` about the path as in failForPath, also when something of this name exists.
///
/// The file gets its name only when it is filled (O_TMPFILE), so that a crash leaves none behind either.
/// Where the file system has no files without names, it has its name while it is filled.
FileDescriptor createWhole(const std::filesystem::path& path, std::string_view sentence,
                           const FillFile& fill);

/// The same, in place of whatever has the name `path`. The file is made as `temporaryName` in the same
/// folder (what has that name goes away) and renamed when its content would outlast a power cut; so at any
/// time one of the two is there under `path`, and whole.
FileDescriptor replaceWhole(const std::filesystem::path& path, const std::string& temporaryName,
                            std::string_view sentence, const FillFile& fill);

/// The folder that the name `path` stands in.
std::filesystem::path folderOf(const std::filesystem::path& path);

/// Makes the names in a folder outlast a power cut, where the file system can.
void synchronizeFolder(const std::filesystem::path& folder) noexcept;

}  // namespace lumicrate::media
