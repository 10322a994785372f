// SPDX-License-Identifier: GPL-3.0-or-later
// AtomicFile: a new file that appears under its name only when it is complete.
//
// The file is created without a name (O_TMPFILE) and gets its name by linkat(), which never overwrites.
// Neither an error nor a crash leaves a partial file behind. Two fallbacks:
//
//   - The file system has no unnamed files, or /proc is missing, through which they are named: the file is
//     created under its name with O_EXCL, and deleted unless it is published. A crash leaves it behind.
//   - linkat() is refused: create() and replace() write the content a second time, under the name.
//
// Existing files are overwritten only by replace(), which renames a complete file over the old one.
#pragma once

#include "Linux/Media/Files/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace lumicrate::media {

/// One thread at a time. Errors are PlatformErrors with the system's reason.
class AtomicFile {
 public:
    /// Creates the file for reading and writing, mode 0666 less the umask. Throws also when `path` exists.
    /// The error texts leave out the path, which is often a hidden name that means nothing to the user.
    explicit AtomicFile(std::filesystem::path path);
    /// Deletes the file unless it was published.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    const FileDescriptor& descriptor() const { return file_; }
    void write(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    /// Gives the file its name. Throws, also when something else has the name by now.
    void publish();

    /// Throws the error of this file for `error`, a negative code of the FFmpeg libraries.
    [[noreturn]] static void fail(int error);
    /// Returns `result` unless it is such a code; then it throws as fail() does.
    static int checked(int result);

    /// Writes the content of a new file. It may be called twice, for two files, of which only the second is
    /// published. Anything it throws cancels the creation and leaves no file.
    using Fill = std::function<void(const FileDescriptor&)>;

    /// Creates and publishes `path` with the content that `fill` writes; returns it open for reading and
    /// writing. `sentence` begins the error texts as in failForPath(). Throws also when `path` exists.
    static FileDescriptor create(const std::filesystem::path& path, std::string_view sentence,
                                 const Fill& fill);
    /// The same in place of whatever has the name `path`. The content is written to `temporaryName` in the
    /// same folder (an existing file of that name is deleted), synced, and renamed to `path`; so at any time,
    /// also after a power cut, `path` names either the complete old file or the complete new one.
    static FileDescriptor replace(const std::filesystem::path& path, const std::string& temporaryName,
                                  std::string_view sentence, const Fill& fill);

 private:
    AtomicFile(std::filesystem::path path, std::string failure);

    void createNamed();
    int link();
    [[noreturn]] void failWithSystemCode(int error) const;

    std::filesystem::path path_;
    std::string failure_;  ///< beginning of the error texts, localized
    FileDescriptor file_;
    bool isNamed_ = false;
    bool isPublished_ = false;
};

}  // namespace lumicrate::media
