#include "Tests/Stage/Movie/Box.h"

#include <algorithm>
#include <map>
#include <optional>

namespace lumicrate::stage {

namespace {

constexpr std::size_t shortHeader = 8;
constexpr std::size_t longHeader = 16;

std::string printable(const std::string& type) {
    std::string text = type;
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c > 0x7e; }, '?');
    return text;
}

bool isQuickTimeSound(ByteSpan entry) {
    constexpr std::size_t version = 8;
    return entry.size() > version + 1 && entry[version + 1] == 1;
}

// A "meta" of MPEG-4 has version and flags, one of QuickTime begins with its first box.
bool beginsWithHandler(ByteSpan content) {
    constexpr std::string_view handler = "hdlr";
    return content.size() >= shortHeader &&
           std::equal(handler.begin(), handler.end(), content.begin() + 4,
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

// How many bytes stand before a box's children; nothing if it has none.
std::optional<std::size_t> leadOf(const Box& box, const std::string& parent) {
    static const std::map<std::string, std::size_t> leads{
        {"moov", 0}, {"trak", 0}, {"edts", 0}, {"mdia", 0}, {"minf", 0},  {"dinf", 0},  {"stbl", 0},
        {"mvex", 0}, {"moof", 0}, {"traf", 0}, {"mfra", 0}, {"wave", 0},  {"udta", 0},  {"dref", 8},
        {"stsd", 8}, {"tref", 0}, {"tapt", 0}, {"ilst", 0}, {"avc1", 78}, {"hvc1", 78}, {"hev1", 78}};
    if (box.type == "meta") return beginsWithHandler(box.content) ? 0 : 4;
    if (box.type == "mp4a") {
        if (parent != "stsd") return std::nullopt;
        return isQuickTimeSound(box.content) ? 44 : 28;
    }
    const auto found = leads.find(box.type);
    if (found == leads.end()) return std::nullopt;
    return found->second;
}

class BoxReader {
 public:
    BoxReader(bool mayBeCutOff, Faults& faults) : mayBeCutOff_(mayBeCutOff), faults_(faults) {}

    void readChildren(Box& parent) {
        if (parent.lead > parent.content.size()) {
            faults_.add(parent, "is too short to hold boxes");
            return;
        }
        std::map<std::string, int> counts;
        std::size_t place = parent.lead;
        while (place < parent.content.size()) {
            const ByteSpan rest = parent.content.subspan(place);
            if (isTerminator(parent, rest)) return;
            auto box = readBox(parent, place, rest);
            if (!box) return;
            const int number = ++counts[box->type];
            box->path = (parent.path.empty() ? "" : parent.path + "/") + printable(box->type) +
                        (number > 1 ? "[" + std::to_string(number) + "]" : "");
            if (const auto lead = leadOf(*box, parent.type); lead && box->isWhole) {
                box->lead = *lead;
                readChildren(*box);
            }
            place = static_cast<std::size_t>(box->end() - parent.contentOffset());
            parent.children.push_back(std::move(*box));
        }
    }

 private:
    // User data of QuickTime may end with four zero bytes.
    static bool isTerminator(const Box& parent, ByteSpan rest) {
        return parent.type == "udta" && rest.size() == 4 &&
               std::all_of(rest.begin(), rest.end(), [](std::uint8_t byte) { return byte == 0; });
    }

    std::optional<Box> readBox(const Box& parent, std::size_t place, ByteSpan rest) {
        const bool isTop = parent.type.empty();
        Box box;
        box.offset = parent.contentOffset() + place;
        if (rest.size() < shortHeader) {
            if (!isTop || !mayBeCutOff_)
                faults_.add(parent, "ends with " + std::to_string(rest.size()) +
                                        " bytes that are no box, at " + std::to_string(box.offset));
            return std::nullopt;
        }
        Bytes header(rest);
        std::uint64_t size = header.u32();
        box.type = header.text(4);
        box.path = (parent.path.empty() ? "" : parent.path + "/") + printable(box.type);
        box.headerSize = size == 1 ? longHeader : shortHeader;
        if (rest.size() < box.headerSize) {
            if (!isTop || !mayBeCutOff_) faults_.add(box, "ends within its header");
            return std::nullopt;
        }
        if (size == 1) size = header.u64();
        if (size == 0 && isTop) size = rest.size();  // to the file's end
        if (size < box.headerSize) {
            faults_.add(box, "has an impossible size of " + std::to_string(size));
            return std::nullopt;
        }
        if (size > rest.size()) {
            box.isWhole = false;
            if (!isTop || !mayBeCutOff_)
                faults_.add(box, "of " + std::to_string(size) + " bytes reaches beyond " +
                                     (isTop ? "the file's end" : "its parent"));
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
    const auto found = std::find_if(children.begin(), children.end(),
                                    [childType](const Box& each) { return each.type == childType; });
    return found != children.end() ? &*found : nullptr;
}

std::vector<const Box*> Box::all(std::string_view childType) const {
    std::vector<const Box*> found;
    for (const Box& each : children) {
        if (each.type == childType) found.push_back(&each);
    }
    return found;
}

void Faults::add(const Box& box, const std::string& what) {
    const std::string name = box.type.empty() ? "the file" : box.path + " at " + std::to_string(box.offset);
    sentences_.push_back(name + ": " + what);
}

void Faults::within(const Box& box, const std::function<void()>& examination) {
    try {
        examination();
    } catch (const EndOfBytes& error) {
        add(box, error.what());
    }
}

Box readBoxes(ByteSpan file, bool mayBeCutOff, Faults& faults) {
    Box whole;
    whole.content = file;
    BoxReader(mayBeCutOff, faults).readChildren(whole);
    return whole;
}

}  // namespace lumicrate::stage
