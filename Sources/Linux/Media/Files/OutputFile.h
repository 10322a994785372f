// SPDX-License-Identifier: GPL-3.0-or-later
// OutputFile: the movie file on disk, open for writing and locked.
#pragma once

#include "Linux/Media/Files/FileDescriptor.h"
#include "Linux/Media/Files/WriteBehind.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace lumicrate::media {

/// A file that only this process works on; a lock tells other processes of this program. Offsets and lengths
/// are bytes.
///
/// It is an open-file-description lock, which the kernel releases however the process ends. A classic
/// per-process lock would be lost as soon as any other part of the program, such as a library that reads the
/// file, closed it; flock() is local to the machine on some network file systems.
///
/// Errors are PlatformErrors with the system's code. One thread at a time.
class OutputFile final : public ByteSink {
 public:
    /// Creates a new file that begins with `head`. It appears complete with head and lock, and never replaces
    /// an existing file. On a file system without locks it is not locked.
    static OutputFile create(const std::filesystem::path& path, std::span<const std::uint8_t> head);
    /// Opens a file that another run left behind; nothing when another process is still working on it. Throws
    /// also where that cannot be determined, on a file system without locks.
    static std::optional<OutputFile> open(const std::filesystem::path& path);

    OutputFile(OutputFile&&) = default;
    OutputFile& operator=(OutputFile&&) = default;

    const std::filesystem::path& path() const { return path_; }
    std::uint64_t size() const;

    void write(std::uint64_t offset, std::span<const std::uint8_t> bytes) override;
    /// See WriteBehind for the cost. The first call also syncs the folder, so that the name survives.
    void synchronize() override;
    /// Returns how many bytes were read; less than asked for only at the end of the file.
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
    /// Cuts the file off, or extends it with zeros.
    void truncate(std::uint64_t size);

    /// Advises the system not to keep this range in its page cache.
    void dropFromMemory(std::uint64_t offset, std::uint64_t length);

    /// Allocates space for later writes to this range; content and size of the file stay. Throws when the
    /// disk is full; returns false where the file system cannot allocate. (A copy-on-write file system
    /// guarantees the space for the first write only.)
    bool reserve(std::uint64_t offset, std::uint64_t length);
    /// Moves everything from `offset` on back by `length` without copying it; the gap reads as zeros. Returns
    /// false, with nothing changed, where the file system cannot do this: both must be multiples of its block
    /// size, and `offset` must lie before the end.
    bool insertRange(std::uint64_t offset, std::uint64_t length);

    /// Whether the path still names this very file: false after it was deleted, moved or replaced.
    bool isLinked() const;
    /// Whether the file has no name at all any more.
    bool isDeleted() const;
    /// Deletes the file if the path still names it; returns whether it did.
    bool remove() noexcept;

    /// Replaces the file by a new one: `head` followed by the bytes [mediaFrom, mediaTo) of this one. Blocks
    /// are shared where the file system can and all positions are multiples of 4096. The copy is made under
    /// `temporaryName` as by AtomicFile::replace(). Afterwards this object stands for the new file. If it
    /// throws, as it also does when the path no longer names this file, this file is unchanged and no copy is
    /// left.
    void replaceByCopy(std::span<const std::uint8_t> head, std::uint64_t mediaFrom, std::uint64_t mediaTo,
                       const std::string& temporaryName);
    /// For a file that was deleted while it was being written, possibly with its folder: recreates the
    /// folders and copies everything to a new file of the same path. Afterwards this object stands for the
    /// new file. Throws also when something else has the path by now.
    void rescueCopy();

 private:
    OutputFile(std::filesystem::path path, FileDescriptor file);

    std::filesystem::path path_;
    FileDescriptor file_;
    bool isFolderSynced_ = false;
};

}  // namespace lumicrate::media
