// HeaderFile: a file of boxes of which only headers are wanted, here and there.
#pragma once

#include "Linux/Media/IsoBmff/BoxReader.h"
#include "Linux/Media/IsoBmff/ByteSource.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace lumicrate::isobmff {

/// Where a box lies in its file, in bytes from the beginning.
struct FileBox {
    FourCC type = 0;
    std::uint64_t start = 0;
    std::uint64_t content = 0;
    std::uint64_t end = 0;  ///< as the box says; a file that was cut off ends before it

    bool is(std::string_view name) const { return type == fourCC(name); }
};

/// Reads through a small window, since the headers of a movie are many and lie close together. However large
/// the file and whatever its numbers say, no more than a fixed number of bytes is ever read.
class HeaderFile {
 public:
    static constexpr std::size_t windowSize = 4096;

    explicit HeaderFile(const ByteSource& source) : source_(source) {}

    std::uint64_t size() const { return source_.size(); }

    /// So many bytes, `windowSize` at most, valid until the next call of anything here. Throws Malformed
    /// where the file does not reach.
    std::span<const std::uint8_t> bytes(std::uint64_t start, std::uint64_t length);

    /// The box that begins at `start` in what ends at `limit`; nothing where no header fits in between. A
    /// length of 0 means all of that. Throws Malformed for a length shorter than the header.
    std::optional<FileBox> boxAt(std::uint64_t start, std::uint64_t limit);

    /// What a box begins with, `most` bytes at most; valid as `bytes` are.
    BoxReader beginning(const FileBox& box, std::uint64_t most);

    /// Calls `visit(child)` for each box in a box. Throws Malformed for one that does not lie within it.
    template <class Visit>
    void eachIn(const FileBox& box, Visit visit) {
        eachIn(box.content, box.end, visit);
    }
    template <class Visit>
    void eachIn(std::uint64_t start, std::uint64_t end, Visit visit) {
        for (auto child = boxAt(start, end); child; child = boxAt(child->end, end)) {
            require(child->end <= end);
            visit(*child);
        }
    }

 private:
    const ByteSource& source_;
    std::uint64_t windowStart_ = 0;
    std::vector<std::uint8_t> window_;
    std::uint64_t bytesRead_ = 0;
};

}  // namespace lumicrate::isobmff
