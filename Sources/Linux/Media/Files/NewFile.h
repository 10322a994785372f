// NewFile: a file that is there only when it is complete.
#pragma once

#include "Linux/Media/Files/WholeFile.h"

#include <filesystem>

namespace lumicrate::media {

/// Where the file system can, it gets its name only when it is kept, so that a crash leaves none behind
/// either.
class NewFile {
 public:
    /// Makes it, for reading and writing. Throws PlatformError when that cannot be done, also when something
    /// of this name exists. Its own name, often a hidden one, would tell nobody anything: the sentences do
    /// without.
    explicit NewFile(std::filesystem::path path);
    /// Nothing remains unless it was kept.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const FileDescriptor& descriptor() const { return file_; }
    /// Names the file. Throws PlatformError.
    void keep();

    /// Throws PlatformError for a code of the FFmpeg libraries.
    [[noreturn]] static void fail(int error);
    /// Gives `result` back unless it is such a code.
    static int checked(int result);

 private:
    std::filesystem::path path_;
    FileDescriptor file_;
    bool named_ = false;
    bool kept_ = false;
};

}  // namespace lumicrate::media
