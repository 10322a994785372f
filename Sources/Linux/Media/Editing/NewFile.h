// NewFile: a file that FFmpeg's libraries write and that is there only when it is complete.
#pragma once

#include "Linux/Media/WholeFile.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

extern "C" {
#include <libavformat/avio.h>
}

namespace lumicrate::media {

/// What is said when it cannot be written, before the reason. The file's own name, often a hidden one, would
/// tell nobody anything.
inline constexpr std::string_view cannotWrite = "The new file couldn't be written";

/// Where the file system can, it gets its name only when it is kept, so that a crash leaves none behind
/// either.
class NewFile {
 public:
    /// Throws PlatformError when it cannot be made, also when something of this name exists.
    explicit NewFile(std::filesystem::path path);
    /// Nothing remains unless it was kept.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    AVIOContext* io() const { return io_.get(); }
    /// Lets `change` have what is in the first box of this type in the file, without its header. Throws
    /// PlatformError.
    void changeBox(std::string_view type, const std::function<void(std::span<std::uint8_t>)>& change);
    /// Writes what is still in memory, and names the file. Throws PlatformError.
    void keep();

 private:
    struct FreeIo {
        void operator()(AVIOContext* io) const;
    };

    void flush();
    void readBytes(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
    static int write(void* self, std::uint8_t* data, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    std::filesystem::path path_;
    FileDescriptor file_;
    bool named_ = false;
    bool kept_ = false;
    std::uint64_t position_ = 0;
    std::unique_ptr<AVIOContext, FreeIo> io_;
};

}  // namespace lumicrate::media
