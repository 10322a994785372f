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
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::media {

class AvioFile {
 public:
    /// Throws as AtomicFile does.
    explicit AvioFile(std::filesystem::path path);
    AvioFile(const AvioFile&) = delete;
    AvioFile& operator=(const AvioFile&) = delete;

    AVIOContext* io() const { return io_.get(); }
    /// Appends to the last box, if it has this type, or else as a new one. Returns the offset of `content`.
    /// Throws PlatformError.
    std::uint64_t append(std::string_view type, std::span<const std::uint8_t> content);
    /// Calls `change` with the content of the first top-level box of this type, and writes it back. It may
    /// grow into a box "free" behind it. Throws PlatformError.
    void changeBox(std::string_view type, const std::function<void(std::vector<std::uint8_t>&)>& change);
    /// Writes what is still buffered and publishes the file. Throws PlatformError.
    void publish();

 private:
    struct Box {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        bool isLarge = false;  ///< the size has 64 bits
        std::string type;
    };

    void flush();
    std::uint64_t size() const;
    Box boxAt(std::uint64_t offset) const;
    bool grow(const Box& box, std::uint64_t count);
    void writeHeader(std::uint64_t offset, std::uint64_t boxSize, std::string_view type);
    void takeFromFree(std::uint64_t offset, std::uint64_t count);
    void readBytes(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
    static int write(void* self, std::uint8_t* data, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    AtomicFile file_;
    std::uint64_t position_ = 0;
    std::unique_ptr<AVIOContext, FreeLibav> io_;
};

}  // namespace lumicrate::media
