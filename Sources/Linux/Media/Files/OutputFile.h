// OutputFile: the file on disk that a movie is written to.
#pragma once

#include "Linux/Media/Files/ByteSink.h"
#include "Linux/Media/Files/WholeFile.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace lumicrate::media {

/// One file, open for reading and writing, which this process alone works on: a lock says so to other
/// processes of this program. Offsets and lengths are bytes.
///
/// The lock belongs to the open file (an open-file-description lock), so the kernel frees it however the
/// process ends. The classic lock of a process would be lost as soon as any other part of the program, such
/// as a library that reads the file, closed it; flock() would hold, but some network file systems keep it to
/// the one machine.
///
/// Errors are PlatformErrors with the system's code. One thread at a time.
class OutputFile final : public ByteSink {
 public:
    /// A new file that begins with `head`. It comes into being with its head and its lock, and never in place
    /// of something that has the name. A file system without locks does without.
    static OutputFile create(const std::filesystem::path& path, std::span<const std::uint8_t> head);
    /// A file that another run has left behind; nothing when another process still works on it. Throws also
    /// when that cannot be found out, for a file system without locks.
    static std::optional<OutputFile> open(const std::filesystem::path& path);

    OutputFile(OutputFile&&) = default;
    OutputFile& operator=(OutputFile&&) = default;

    const std::filesystem::path& path() const { return path_; }
    std::uint64_t size() const;

    void write(std::uint64_t offset, std::span<const std::uint8_t> bytes) override;
    /// What it costs is said in WriteBehind.h. The first time it makes the file's name last too.
    void synchronize() override;
    /// Gives how many bytes were read: all, but for the end of the file.
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
    /// Cuts the file off, or lengthens it with zeros.
    void truncate(std::uint64_t size);

    /// What is on the disk there need not be kept in memory; which is only advice.
    void dropFromMemory(std::uint64_t offset, std::uint64_t length);

    /// Sees to it that later writes there find room; the content and size of the file stay. Throws when there
    /// is no room; false where the file system cannot promise any. (One that writes every change to another
    /// place keeps its promise for the first write only.)
    bool reserve(std::uint64_t offset, std::uint64_t length);
    /// Moves what lies from `offset` on by `length`, without copying it; the gap reads as zeros. False, and
    /// nothing has changed, where the file system cannot do this or not there: both must be multiples of its
    /// blocks, and `offset` lie before the end.
    bool insertRange(std::uint64_t offset, std::uint64_t length);

    /// Whether the path still names this very file; not when it was deleted, moved or replaced.
    bool isLinked() const;
    /// Whether no path names it any more.
    bool isDeleted() const;
    /// Deletes the file if the path still names it; whether it did.
    bool remove() noexcept;

    /// Puts a new file in this one's place: `head` and then what lies from `mediaFrom` to `mediaTo` here. Its
    /// blocks are shared with this one's where the file system can and the places and the head's length are
    /// multiples of 4096. Until that is whole and on the disk, it is `temporaryName` in the same folder or
    /// has no name; anything else of that name goes away. Afterwards this object stands for the new file.
    /// When it throws, as it does also when the path no longer names this file, this file is as it was and
    /// there is no other.
    void replaceByCopy(std::span<const std::uint8_t> head, std::uint64_t mediaFrom, std::uint64_t mediaTo,
                       const std::string& temporaryName);
    /// For a file that was deleted, maybe with its folder, while it was being written: copies everything to a
    /// new file of the same path, whose folders are made again. Afterwards this object stands for that one.
    /// Throws also when something else has the path by now.
    void rescueCopy();

 private:
    OutputFile(std::filesystem::path path, FileDescriptor file);

    std::filesystem::path path_;
    FileDescriptor file_;
    bool nameLasts_ = false;
};

}  // namespace lumicrate::media
