// NewFile: a file that FFmpeg's libraries write and that stays only when it is complete.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

extern "C" {
#include <libavformat/avio.h>
}

namespace lumicrate::media {

/// What is said when it cannot be written, before the reason. The file's own name, often a hidden one, would
/// tell nobody anything.
inline constexpr std::string_view cannotWrite = "The new file couldn't be written";

class NewFile {
 public:
    /// Creates it. Throws PlatformError, also when something of this name exists.
    explicit NewFile(std::filesystem::path path);
    /// Deletes it unless it was kept.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    AVIOContext* io() const { return io_.get(); }
    /// Writes what is still in memory. Throws PlatformError.
    void keep();
    const std::filesystem::path& path() const { return path_; }

 private:
    struct FreeIo {
        void operator()(AVIOContext* io) const;
    };

    static int write(void* self, std::uint8_t* data, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    std::filesystem::path path_;
    int descriptor_;
    bool kept_ = false;
    std::unique_ptr<AVIOContext, FreeIo> io_;
};

}  // namespace lumicrate::media
