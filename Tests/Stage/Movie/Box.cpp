// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Movie/Box.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace lumicrate::stage {

namespace {

constexpr std::size_t shortHeader = 8;
constexpr std::size_t longHeader = 16;

// How many bytes precede a box's children; nothing if it has none.
std::optional<std::size_t> leadOf(const Box& box, const std::string& parent) {
    static const std::map<std::string, std::size_t> leads{
        {"moov", 0}, {"trak", 0}, {"edts", 0},  {"mdia", 0}, {"minf", 0}, {"dinf", 0},
        {"stbl", 0}, {"mvex", 0}, {"moof", 0},  {"traf", 0}, {"wave", 0}, {"udta", 0},
        {"dref", 8}, {"stsd", 8}, {"avc1", 78}, {"hvc1", 78}};
    const bool isSound = box.type == "mp4a" && parent == "stsd";
    if (isSound) return box.content.size() > 9 && box.content[9] == 1 ? 44 : 28;  // by version
    const auto found = leads.find(box.type);
    return found != leads.end() ? std::optional(found->second) : std::nullopt;
}

class BoxReader {
 public:
    BoxReader(bool mayBeCutOff, Faults& faults) : mayBeCutOff_(mayBeCutOff), faults_(faults) {}

    void readChildren(Box& parent) {
        if (parent.lead > parent.content.size()) return faults_.add(parent, "is too short to hold boxes");
        std::map<std::string, int> counts;
        std::size_t place = parent.lead;
        while (place < parent.content.size()) {
            auto box = readBox(parent, place, parent.content.subspan(place));
            if (!box) return;
            const int number = ++counts[box->type];
            if (number > 1) box->path += "[" + std::to_string(number) + "]";
            if (const auto lead = leadOf(*box, parent.type); lead && box->isWhole) {
                box->lead = *lead;
                readChildren(*box);
            }
            place = static_cast<std::size_t>(box->end() - parent.contentOffset());
            parent.children.push_back(std::move(*box));
        }
    }

 private:
    std::optional<Box> readBox(const Box& parent, std::size_t place, ByteSpan rest) {
        const bool isTop = parent.type.empty();
        const bool mayEnd = isTop && mayBeCutOff_;
        Box box;
        box.offset = parent.contentOffset() + place;
        box.headerSize = rest.size() >= shortHeader && Bytes(rest).u32() == 1 ? longHeader : shortHeader;
        if (rest.size() < box.headerSize) {
            faults_.require(mayEnd, parent,
                            "ends with " + std::to_string(rest.size()) + " bytes that are no box");
            return std::nullopt;
        }
        Bytes header(rest);
        std::uint64_t size = header.u32();
        box.type = header.text(4);
        box.path = (parent.path.empty() ? "" : parent.path + "/") + box.type;
        if (size == 1) size = header.number(8);
        if (size == 0 && isTop) size = rest.size();  // to the file's end
        if (size < box.headerSize) {
            faults_.add(box, "has an impossible size of " + std::to_string(size));
            return std::nullopt;
        }
        if (size > rest.size()) {
            box.isWhole = false;
            faults_.require(mayEnd, box, "reaches beyond its parent");
            if (!isTop) return std::nullopt;
            size = rest.size();
        }
        box.content = rest.subspan(box.headerSize, static_cast<std::size_t>(size) - box.headerSize);
        return box;
    }

    bool mayBeCutOff_;
    Faults& faults_;
};

}  // namespace

const Box* Box::child(std::string_view childType) const {
    const auto found = std::ranges::find(children, childType, &Box::type);
    return found != children.end() ? &*found : nullptr;
}

std::vector<const Box*> Box::all(std::string_view childType) const {
    std::vector<const Box*> found;
    for (const Box& each : children) {
        if (each.type == childType) found.push_back(&each);
    }
    return found;
}

const Box* Box::find(std::string_view relativePath) const {
    const std::size_t slash = relativePath.find('/');
    const Box* found = child(relativePath.substr(0, slash));
    if (slash == std::string_view::npos || found == nullptr) return found;
    return found->find(relativePath.substr(slash + 1));
}

void Faults::add(const Box& box, const std::string& what) {
    const std::string name = box.type.empty() ? "the file" : box.path + " at " + std::to_string(box.offset);
    sentences_.push_back(name + ": " + what);
}

std::vector<std::vector<std::uint64_t>> rowsOf(const Box* table, const std::vector<std::size_t>& widths) {
    std::vector<std::vector<std::uint64_t>> rows;
    if (table == nullptr) return rows;
    Bytes bytes(table->content);
    bytes.take(8);  // version, flags and count
    const std::size_t rowSize = std::accumulate(widths.begin(), widths.end(), std::size_t{0});
    while (bytes.left() >= rowSize) {
        rows.emplace_back();
        for (const std::size_t width : widths)
            rows.back().push_back(bytes.number(width));
    }
    return rows;
}

Box readBoxes(ByteSpan file, bool mayBeCutOff, Faults& faults) {
    Box whole;
    whole.content = file;
    BoxReader(mayBeCutOff, faults).readChildren(whole);
    return whole;
}

}  // namespace lumicrate::stage
