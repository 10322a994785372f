// SPDX-License-Identifier: GPL-3.0-or-later
// AvioFile: lets libavformat write an AtomicFile.
#pragma once

#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Libav.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace lumicrate::media {

class AvioFile {
 public:
    /// Throws as AtomicFile does.
    explicit AvioFile(std::filesystem::path path);
    AvioFile(const AvioFile&) = delete;
    AvioFile& operator=(const AvioFile&) = delete;

    AVIOContext* io() const { return io_.get(); }
    /// Calls `change` with the content of the first top-level box of this type, and writes it back. Throws
    /// PlatformError.
    void changeBox(std::string_view type, const std::function<void(std::span<std::uint8_t>)>& change);
    /// Writes what is still buffered and publishes the file. Throws PlatformError.
    void publish();

 private:
    void flush();
    void readBytes(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
    static int write(void* self, std::uint8_t* data, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    AtomicFile file_;
    std::uint64_t position_ = 0;
    std::unique_ptr<AVIOContext, FreeLibav> io_;
};

}  // namespace lumicrate::media
