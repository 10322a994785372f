// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/HeaderFile.h"

#include <algorithm>

namespace lumicrate::isobmff {

namespace {

/// Enough for three days in fragments of half a second.
constexpr std::uint64_t maxBytesRead = 2ULL << 30;

}  // namespace

std::span<const std::uint8_t> HeaderFile::bytes(std::uint64_t start, std::uint64_t length) {
    const bool held = start >= windowStart_ && start - windowStart_ <= window_.size() &&
                      length <= window_.size() - (start - windowStart_);
    if (!held) {
        require(length <= windowSize && start <= size() && length <= size() - start);
        window_.resize(std::min<std::uint64_t>(windowSize, size() - start));
        windowStart_ = start;
        bytesRead_ += window_.size();
        if (bytesRead_ > maxBytesRead || !source_.read(start, window_)) {
            window_.clear();
            throw Malformed();
        }
    }
    return std::span(window_).subspan(start - windowStart_, length);
}

std::optional<FileBox> HeaderFile::boxAt(std::uint64_t start, std::uint64_t limit) {
    limit = std::min(limit, size());
    if (start > limit || limit - start < boxHeaderSize) return std::nullopt;
    BoxReader header(bytes(start, boxHeaderSize));
    std::uint64_t length = header.u32();
    FileBox box{header.u32(), start, start + boxHeaderSize, limit};
    if (length == 0) return box;
    if (length == 1) {
        box.content = start + largeBoxHeaderSize;
        if (limit - start < largeBoxHeaderSize) return std::nullopt;
        length = BoxReader(bytes(start + boxHeaderSize, largeBoxHeaderSize - boxHeaderSize)).u64();
    }
    require(length >= box.content - start && length <= ~start);
    box.end = start + length;
    return box;
}

BoxReader HeaderFile::beginning(const FileBox& box, std::uint64_t maxSize) {
    return BoxReader(bytes(box.content, std::min(box.end - box.content, maxSize)));
}

}  // namespace lumicrate::isobmff
