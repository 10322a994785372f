#include "Linux/Media/Editing/NewFile.h"

#include "Linux/Media/Failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/mem.h>
}

namespace lumicrate::media {

namespace {

constexpr int bufferSize = 1 << 20;

}  // namespace

void NewFile::FreeIo::operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
}

NewFile::NewFile(std::filesystem::path path)
    : path_(std::move(path)), descriptor_(open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0) failWithCode(cannotWrite, AVERROR(errno));
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    io_.reset(buffer ? avio_alloc_context(buffer, bufferSize, 1, this, nullptr, write, seek) : nullptr);
    if (io_) return;
    av_free(buffer);
    close(descriptor_);
    unlink(path_.c_str());
    throw std::bad_alloc();
}

NewFile::~NewFile() {
    io_.reset();
    close(descriptor_);
    if (!kept_) unlink(path_.c_str());
}

void NewFile::keep() {
    avio_flush(io_.get());
    checked(io_->error, cannotWrite);
    kept_ = true;
}

int NewFile::write(void* self, std::uint8_t* data, int size) {
    int written = 0;
    while (written < size) {
        const auto part = ::write(static_cast<NewFile*>(self)->descriptor_, data + written,
                                  static_cast<std::size_t>(size - written));
        if (part < 0 && errno == EINTR) continue;
        if (part < 0) return AVERROR(errno);
        written += static_cast<int>(part);
    }
    return written;
}

std::int64_t NewFile::seek(void* self, std::int64_t offset, int whence) {
    const int descriptor = static_cast<NewFile*>(self)->descriptor_;
    if ((whence & AVSEEK_SIZE) != 0) {
        struct stat attributes {};
        return fstat(descriptor, &attributes) == 0 ? attributes.st_size : AVERROR(errno);
    }
    const auto position = lseek(descriptor, offset, whence & ~AVSEEK_FORCE);
    return position < 0 ? AVERROR(errno) : position;
}

}  // namespace lumicrate::media
