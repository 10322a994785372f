// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/AvioFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <new>
#include <span>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mem.h>
}

namespace lumicrate::media {

namespace {

constexpr int bufferSize = 1 << 17;

}  // namespace

AvioFile::AvioFile(std::filesystem::path path) : file_(std::move(path)) {
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    io_.reset(buffer ? avio_alloc_context(buffer, bufferSize, 1, this, nullptr, write, seek) : nullptr);
    if (io_) return;
    av_free(buffer);
    throw std::bad_alloc();
}

void AvioFile::publish() {
    flush();
    file_.publish();
}

void AvioFile::flush() {
    avio_flush(io_.get());
    AtomicFile::checked(io_->error);
}

void AvioFile::changeBox(std::string_view type, const std::function<void(std::span<std::uint8_t>)>& change) {
    constexpr std::size_t headerSize = 8;
    flush();
    std::array<std::uint8_t, headerSize> header{};
    for (std::uint64_t place = 0;;) {
        readBytes(place, header);
        const std::size_t size = AV_RB32(header.data());
        if (size < headerSize) AtomicFile::fail(AVERROR(EIO));
        if (std::equal(type.begin(), type.end(), header.begin() + 4)) {
            std::vector<std::uint8_t> content(size - headerSize);
            readBytes(place + headerSize, content);
            change(content);
            file_.write(place + headerSize, content);
            return;
        }
        place += size;
    }
}

void AvioFile::readBytes(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    if (readAll(file_.descriptor(), offset, bytes) != static_cast<std::int64_t>(bytes.size()))
        AtomicFile::fail(AVERROR(EIO));
}

int AvioFile::write(void* self, std::uint8_t* data, int size) {
    auto& to = *static_cast<AvioFile*>(self);
    const std::span bytes(data, static_cast<std::size_t>(size));
    if (const int error = writeAll(to.file_.descriptor(), to.position_, bytes); error != 0)
        return AVERROR(error);
    to.position_ += bytes.size();
    return size;
}

std::int64_t AvioFile::seek(void* self, std::int64_t offset, int whence) {
    auto& in = *static_cast<AvioFile*>(self);
    struct stat attributes {};
    if (fstat(in.file_.descriptor().get(), &attributes) != 0) return AVERROR(errno);
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return attributes.st_size;
        case SEEK_CUR:
            offset += static_cast<std::int64_t>(in.position_);
            break;
        case SEEK_END:
            offset += attributes.st_size;
            break;
        default:
            break;
    }
    if (offset < 0) return AVERROR(EINVAL);
    in.position_ = static_cast<std::uint64_t>(offset);
    return offset;
}

}  // namespace lumicrate::media
