// SPDX-License-Identifier: GPL-3.0-or-later
// InputFile: a finished movie file that is read, by bytes or with libavformat.
#pragma once

#include "Linux/Media/Files/FileDescriptor.h"
#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/Libav.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace lumicrate::media {

/// Throws PlatformError: the file cannot be read. `reason` is a localized clause with a full stop.
[[noreturn]] void failToRead(const std::filesystem::path& path, const std::string& reason, int code = 0);

/// Only regular files are opened: a pipe could block forever, and a device would be changed by opening it.
/// Everything throws PlatformError, which names the file.
class InputFile final : public isobmff::ByteSource {
 public:
    /// Throws also for an empty file.
    explicit InputFile(std::filesystem::path path);

    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override;

 private:
    friend class InputContainer;

    std::filesystem::path path_;
    FileDescriptor file_;
    std::uint64_t size_ = 0;
};

/// A file that libavformat reads. One thread.
class InputContainer {
 public:
    /// Opens a file and reads its headers. Only containers that hold their media themselves are allowed,
    /// because a playlist could make the library open anything. `maxProbed` limits the bytes, and the
    /// microseconds, of media that are examined; 0 for the library's defaults. Returns a code of the library,
    /// negative on failure. Throws as InputFile does.
    int open(const std::filesystem::path& path, int maxProbed);

    AVFormatContext* get() const { return context_.get(); }
    AVFormatContext* operator->() const { return context_.get(); }

 private:
    /// The file as a stream; its address must not change.
    struct Stream {
        explicit Stream(const std::filesystem::path& path) : file(path) {}
        static int read(void* self, std::uint8_t* into, int size);
        static std::int64_t seek(void* self, std::int64_t offset, int whence);

        InputFile file;
        std::int64_t position = 0;
    };

    // In this order: the context uses the buffer, and the buffer the stream.
    std::unique_ptr<Stream> stream_;
    std::unique_ptr<AVIOContext, FreeLibav> io_;
    std::unique_ptr<AVFormatContext, FreeLibav> context_;
};

}  // namespace lumicrate::media
