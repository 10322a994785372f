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
/// Of a box: its size and type.
constexpr std::size_t headerSize = 8;

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

std::uint64_t AvioFile::append(std::string_view type, std::span<const std::uint8_t> content) {
    flush();
    const std::uint64_t end = size();
    Box last = boxAt(0);
    while (last.offset + last.size < end)
        last = boxAt(last.offset + last.size);
    if (last.type == type && grow(last, content.size())) {
        file_.write(end, content);
        return end;
    }
    writeHeader(end, headerSize + content.size(), type);
    file_.write(end + headerSize, content);
    return end + headerSize;
}

void AvioFile::changeBox(std::string_view type,
                         const std::function<void(std::vector<std::uint8_t>&)>& change) {
    flush();
    Box box = boxAt(0);
    while (box.type != type)
        box = boxAt(box.offset + box.size);
    std::vector<std::uint8_t> content(box.size - headerSize);
    readBytes(box.offset + headerSize, content);
    change(content);
    const std::uint64_t changedSize = headerSize + content.size();
    if (changedSize > box.size) takeFromFree(box.offset + box.size, changedSize - box.size);
    writeHeader(box.offset, changedSize, type);
    file_.write(box.offset + headerSize, content);
}

/// Shortens the box "free" at `offset` by `count` bytes at its beginning.
void AvioFile::takeFromFree(std::uint64_t offset, std::uint64_t count) {
    const Box free = boxAt(offset);
    // The room for the index is calculated beforehand.
    if (free.type != "free" || free.size < count + headerSize) AtomicFile::fail(AVERROR_BUG);
    writeHeader(offset + count, free.size - count, "free");
}

AvioFile::Box AvioFile::boxAt(std::uint64_t offset) const {
    std::array<std::uint8_t, headerSize> header{};
    readBytes(offset, header);
    Box box{offset, AV_RB32(header.data()), false, {header.begin() + 4, header.end()}};
    box.isLarge = box.size == 1;
    if (box.isLarge) {
        readBytes(offset + headerSize, header);
        box.size = AV_RB64(header.data());
    }
    if (box.size < headerSize) AtomicFile::fail(AVERROR(EIO));
    return box;
}

/// Makes a box longer; false if its header has no room for the size.
bool AvioFile::grow(const Box& box, std::uint64_t count) {
    const std::uint64_t grown = box.size + count;
    std::array<std::uint8_t, headerSize> large{};
    AV_WB64(large.data(), grown);
    if (box.isLarge) {
        file_.write(box.offset + headerSize, large);
    } else if (grown <= UINT32_MAX) {
        writeHeader(box.offset, grown, box.type);
    } else {
        return false;
    }
    return true;
}

void AvioFile::writeHeader(std::uint64_t offset, std::uint64_t boxSize, std::string_view type) {
    std::array<std::uint8_t, headerSize> header{};
    AV_WB32(header.data(), static_cast<std::uint32_t>(boxSize));
    std::copy(type.begin(), type.end(), header.begin() + 4);
    file_.write(offset, header);
}

std::uint64_t AvioFile::size() const {
    struct stat attributes {};
    if (fstat(file_.descriptor().get(), &attributes) != 0) AtomicFile::fail(AVERROR(errno));
    return static_cast<std::uint64_t>(attributes.st_size);
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
