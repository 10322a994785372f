// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/InputFile.h"

#include "Support/Error.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <system_error>
#include <utility>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace lumicrate::media {

namespace {

[[noreturn]] void failWithSystemCode(const std::filesystem::path& path, int code) {
    failToRead(path, std::generic_category().message(code) + ".", code);
}

void requireRegular(const std::filesystem::path& path, const struct stat& status) {
    if (S_ISDIR(status.st_mode)) failToRead(path, localized("it is a folder."), EISDIR);
    if (!S_ISREG(status.st_mode)) failToRead(path, localized("it isn't a movie."));
}

}  // namespace

void failToRead(const std::filesystem::path& path, const std::string& reason, int code) {
    throw PlatformError(localized("“{}” couldn't be read: {}", {path.filename().string(), reason}), code);
}

InputFile::InputFile(std::filesystem::path path) : path_(std::move(path)) {
    struct stat status {};
    if (stat(path_.c_str(), &status) != 0) failWithSystemCode(path_, errno);
    requireRegular(path_, status);
    // O_NONBLOCK, because it may have been replaced by a pipe since.
    file_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file_.isOpen() || fstat(file_.get(), &status) != 0) failWithSystemCode(path_, errno);
    requireRegular(path_, status);
    if (status.st_size == 0) failToRead(path_, localized("it is empty."));
    size_ = static_cast<std::uint64_t>(status.st_size);
}

bool InputFile::read(std::uint64_t offset, std::span<std::uint8_t> into) const {
    const std::int64_t count = readAll(file_, offset, into);
    if (count < 0) failWithSystemCode(path_, static_cast<int>(-count));
    return static_cast<std::size_t>(count) == into.size();
}

int InputContainer::Stream::read(void* self, std::uint8_t* into, int size) {
    auto& from = *static_cast<Stream*>(self);
    const std::span bytes(into, static_cast<std::size_t>(size));
    const std::int64_t count = readAll(from.file.file_, static_cast<std::uint64_t>(from.position), bytes);
    if (count < 0) return AVERROR(static_cast<int>(-count));
    if (count == 0) return AVERROR_EOF;
    from.position += count;
    return static_cast<int>(count);
}

std::int64_t InputContainer::Stream::seek(void* self, std::int64_t offset, int whence) {
    auto& in = *static_cast<Stream*>(self);
    const auto size = static_cast<std::int64_t>(in.file.size());
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return size;
        case SEEK_CUR:
            offset += in.position;
            break;
        case SEEK_END:
            offset += size;
            break;
        default:
            break;
    }
    if (offset < 0) return AVERROR(EINVAL);
    in.position = offset;
    return offset;
}

int InputContainer::open(const std::filesystem::path& path, int maxProbed) {
    constexpr int bufferSize = 1 << 15;
    context_.reset();
    stream_ = std::make_unique<Stream>(path);
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    io_.reset(buffer == nullptr ? nullptr
                                : avio_alloc_context(buffer, bufferSize, 0, stream_.get(), Stream::read,
                                                     nullptr, Stream::seek));
    if (!io_) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    av_log_set_level(AV_LOG_QUIET);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", "mov,matroska,avi,mpegts,mpeg,flv,ogg,asf,gif,mp3,wav,flac", 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    if (maxProbed > 0) {
        av_dict_set_int(&options, "probesize", maxProbed, 0);
        av_dict_set_int(&options, "analyzeduration", maxProbed, 0);
    }
    AVFormatContext* input = avformat_alloc_context();
    if (input == nullptr) throw std::bad_alloc();
    input->pb = io_.get();
    // Frees the context when it fails. The name only helps to recognize the format.
    const int result = avformat_open_input(&input, path.c_str(), nullptr, &options);
    av_dict_free(&options);
    context_.reset(result < 0 ? nullptr : input);
    return result;
}

}  // namespace lumicrate::media
