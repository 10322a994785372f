// SPDX-License-Identifier: GPL-3.0-or-later
// Box: a piece of a movie file with its type, the boxes within it and the numbers it holds; the rules for
// boxes, and the list of what is wrong with a file.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::stage {

using ByteSpan = std::span<const std::uint8_t>;
inline ByteSpan bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Reads big-endian numbers one after the other; throws std::out_of_range when too little is left.
class Bytes {
 public:
    explicit Bytes(ByteSpan bytes) : rest_(bytes) {}

    std::size_t left() const { return rest_.size(); }
    std::uint64_t number(std::size_t size) {
        std::uint64_t value = 0;
        for (const std::uint8_t byte : take(size))
            value = value << 8 | byte;
        return value;
    }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::string text(std::size_t size) {
        const ByteSpan taken = take(size);
        return {taken.begin(), taken.end()};
    }
    ByteSpan take(std::size_t size) {
        if (size > rest_.size()) throw std::out_of_range("ends too early");
        const ByteSpan taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }

 private:
    ByteSpan rest_;
};

struct Box {
    std::string type;          // four characters
    std::string path;          // "moov/trak[2]/tkhd"; [2] is the second of its type in its parent
    std::uint64_t offset = 0;  // of the header in the file
    std::size_t headerSize = 0;
    ByteSpan content;      // without the header
    bool isWhole = true;   // not when the file ends within it
    std::size_t lead = 0;  // bytes of the content before the children
    std::vector<Box> children;
    std::map<std::string, std::uint64_t, std::less<>> fields;  // by the names in the layout, see BoxRules

    std::uint64_t contentOffset() const { return offset + headerSize; }
    std::uint64_t end() const { return contentOffset() + content.size(); }
    // The first of that type, or none.
    const Box* child(std::string_view childType) const;
    std::vector<const Box*> all(std::string_view childType) const;
    // The descendant of that path ("mdia/minf/stbl"), or none.
    const Box* find(std::string_view relativePath) const;
    // 0 if the layout could not be read.
    std::uint64_t field(std::string_view name) const {
        const auto found = fields.find(name);
        return found != fields.end() ? found->second : 0;
    }
};

// One sentence a fault: which box, where, what.
class Faults {
 public:
    void add(const Box& box, const std::string& what);
    void require(bool isRight, const Box& box, const std::string& what) {
        if (!isRight) add(box, what);
    }
    const std::vector<std::string>& sentences() const { return sentences_; }

 private:
    std::vector<std::string> sentences_;
};

// The file as one box without a type. If it may be cut off, its last box may be incomplete.
Box readBoxes(ByteSpan file, bool mayBeCutOff, Faults& faults);

struct MovieForm {
    bool isQuickTime = false;
    bool isFragmented = false;
};
// Boxes that are missing, unexpected, repeated or misplaced, and headers with other contents than this
// program writes. Reads the boxes' fields.
void examineBoxes(Box& whole, const MovieForm& form, Faults& faults);

// The rows of a table whose count precedes them: numbers of the given widths. Nothing without a table.
std::vector<std::vector<std::uint64_t>> rowsOf(const Box* table, const std::vector<std::size_t>& widths);

}  // namespace lumicrate::stage
