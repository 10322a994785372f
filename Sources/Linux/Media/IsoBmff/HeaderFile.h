// SPDX-License-Identifier: GPL-3.0-or-later
// HeaderFile: reads box headers here and there in a file.
#pragma once

#include "Linux/Media/IsoBmff/Boxes.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace lumicrate::isobmff {

/// The position of a box in its file, in bytes.
struct FileBox {
    FourCC type = 0;
    std::uint64_t start = 0;
    std::uint64_t content = 0;
    std::uint64_t end = 0;  ///< as the box says, so possibly beyond the end of a truncated file

    bool is(std::string_view name) const { return type == fourCC(name); }
    std::uint64_t size() const { return end - start; }
};

/// Reads through a small buffer, since a movie has many headers close together. The total number of bytes
/// read is limited, however large the file is and whatever its numbers say.
class HeaderFile {
 public:
    static constexpr std::size_t windowSize = 4096;

    explicit HeaderFile(const ByteSource& source) : source_(source) {}

    std::uint64_t size() const { return source_.size(); }

    /// At most `windowSize` bytes, valid until the next call of any function. Throws Malformed beyond the end
    /// of the file.
    std::span<const std::uint8_t> bytes(std::uint64_t start, std::uint64_t length);

    /// The box that begins at `start` in a parent that ends at `limit`; nothing if not even a header fits. A
    /// length of 0 means up to `limit`. Throws Malformed for a length shorter than the header.
    std::optional<FileBox> boxAt(std::uint64_t start, std::uint64_t limit);

    /// The beginning of a box, at most `maxSize` bytes; valid as bytes() are.
    BoxReader beginning(const FileBox& box, std::uint64_t maxSize);

    /// Calls `visit(child)` for each box in a box. Throws Malformed for a child that extends beyond its
    /// parent.
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
