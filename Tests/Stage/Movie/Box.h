// Box: a piece of a movie file with its type and the boxes within it; and the list of what is wrong with a
// file.
#pragma once

#include "Tests/Stage/Movie/Bytes.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::stage {

struct Box {
    std::string type;          // the four characters as they stand in the file
    std::string path;          // "moov/trak[2]/tkhd"; [2] is the second of its type in its parent
    std::uint64_t offset = 0;  // of the header in the file
    std::size_t headerSize = 0;
    ByteSpan content;      // behind the header
    bool isWhole = true;   // not when the file ends within it
    std::size_t lead = 0;  // bytes of the content before the children
    std::vector<Box> children;

    std::uint64_t contentOffset() const { return offset + headerSize; }
    std::uint64_t end() const { return contentOffset() + content.size(); }
    // The first of that type, or none.
    const Box* child(std::string_view childType) const;
    std::vector<const Box*> all(std::string_view childType) const;
};

// One sentence a fault: which box, where, what.
class Faults {
 public:
    void add(const Box& box, const std::string& what);
    void require(bool isRight, const Box& box, const std::string& what) {
        if (!isRight) add(box, what);
    }
    // Runs a part of the examination; that the box ends too early is a fault of its own.
    void within(const Box& box, const std::function<void()>& examination);

    const std::vector<std::string>& sentences() const { return sentences_; }

 private:
    std::vector<std::string> sentences_;
};

// The whole file as one box without a type. Of a file that `mayBeCutOff`, the last box may be incomplete.
Box readBoxes(ByteSpan file, bool mayBeCutOff, Faults& faults);

}  // namespace lumicrate::stage
