// SPDX-License-Identifier: GPL-3.0-or-later
// FileDescriptor: an open file that closes itself, and the system calls on one that repeat until they are
// done.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

namespace lumicrate::media {

class FileDescriptor {
 public:
    FileDescriptor() = default;
    /// Takes ownership; a negative number stands for no file.
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.descriptor_) {
        other.descriptor_ = -1;
    }
    /// Swaps: the file that was open here is closed by the destructor of `other`.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    int get() const { return descriptor_; }
    bool isOpen() const { return descriptor_ >= 0; }

 private:
    int descriptor_ = -1;
};

/// Writes all of `bytes` at `offset`. Returns 0, or the error number.
int writeAll(const FileDescriptor& file, std::uint64_t offset, std::span<const std::uint8_t> bytes);

/// Reads until `bytes` is full or the file ends. Returns the number of bytes read, or the negative error
/// number.
std::int64_t readAll(const FileDescriptor& file, std::uint64_t offset, std::span<std::uint8_t> bytes);

/// The folder that contains `path`; "." for a name alone.
std::filesystem::path folderOf(const std::filesystem::path& path);

/// Writes the names in a folder to the disk, where the file system supports that.
void synchronizeFolder(const std::filesystem::path& folder) noexcept;

}  // namespace lumicrate::media
