#include "Linux/Media/Editing/NewFile.h"

#include "Linux/Media/Failure.h"

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

/// Naming a file later goes by way of this folder.
bool canNameLater() {
    return access("/proc/self/fd", X_OK) == 0;
}

}  // namespace

void NewFile::FreeIo::operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
}

NewFile::NewFile(std::filesystem::path path) : path_(std::move(path)) {
    struct stat existing {};
    if (lstat(path_.c_str(), &existing) == 0) failWithCode(cannotWrite, AVERROR(EEXIST));
    if (canNameLater()) file_ = createUnnamed(folderOf(path_));
    if (!file_.isOpen()) {
        file_ = createNamed(path_);
        named_ = file_.isOpen();
    }
    if (!file_.isOpen()) failWithCode(cannotWrite, AVERROR(errno));
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    io_.reset(buffer ? avio_alloc_context(buffer, bufferSize, 1, this, nullptr, write, seek) : nullptr);
    if (io_) return;
    av_free(buffer);
    if (named_) unlink(path_.c_str());
    throw std::bad_alloc();
}

NewFile::~NewFile() {
    if (named_ && !kept_) unlink(path_.c_str());
}

void NewFile::keep() {
    flush();
    if (!named_) checked(AVERROR(giveName(file_, path_)), cannotWrite);
    kept_ = true;
}

void NewFile::flush() {
    avio_flush(io_.get());
    checked(io_->error, cannotWrite);
}

void NewFile::changeBox(std::string_view type, const std::function<void(std::span<std::uint8_t>)>& change) {
    constexpr std::size_t headerSize = 8;
    flush();
    std::array<std::uint8_t, headerSize> header{};
    for (std::uint64_t place = 0;;) {
        readBytes(place, header);
        const std::size_t size = AV_RB32(header.data());
        if (size < headerSize) failWithCode(cannotWrite, AVERROR(EIO));
        if (std::equal(type.begin(), type.end(), header.begin() + 4)) {
            std::vector<std::uint8_t> content(size - headerSize);
            readBytes(place + headerSize, content);
            change(content);
            checked(AVERROR(writeWhole(file_, place + headerSize, content)), cannotWrite);
            return;
        }
        place += size;
    }
}

void NewFile::readBytes(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    if (readWhole(file_, offset, bytes) != static_cast<std::int64_t>(bytes.size()))
        failWithCode(cannotWrite, AVERROR(EIO));
}

int NewFile::write(void* self, std::uint8_t* data, int size) {
    auto& to = *static_cast<NewFile*>(self);
    const std::span bytes(data, static_cast<std::size_t>(size));
    if (const int error = writeWhole(to.file_, to.position_, bytes); error != 0) return AVERROR(error);
    to.position_ += bytes.size();
    return size;
}

std::int64_t NewFile::seek(void* self, std::int64_t offset, int whence) {
    auto& in = *static_cast<NewFile*>(self);
    struct stat attributes {};
    if (fstat(in.file_.get(), &attributes) != 0) return AVERROR(errno);
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
