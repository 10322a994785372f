// SPDX-License-Identifier: GPL-3.0-or-later
// Which boxes must and may be where in a movie, and what the headers hold.
#include "Tests/Stage/Movie/Box.h"

#include <algorithm>
#include <array>

namespace lumicrate::stage {

namespace {

// What belongs into a box ("" is the file).
//
// `children` are the boxes in it, in file order: each its type, how many there are (1, ? for at most one, +
// for at least one, * for any number) and when (. always, P plain, F fragmented, Q QuickTime, M MPEG-4).
//
// `layout` is the content before the children: hexadecimal digits stand for themselves, ".." for any byte;
// 0*4 are four zero bytes, .*4 any four. name:4 is a number of four bytes that gets that name. V is the
// version 0 or 1, by which a number name:w has four or eight bytes. rows*8 is a count and that many rows of
// eight bytes. "rest" is anything. "" is not examined.
struct Rule {
    std::string_view type;
    std::string_view children;
    std::string_view layout = "";
    std::string_view quickTimeLayout = layout;
};

#define MATRIX "00010000 0*12 00010000 0*12 40000000 "
#define PICTURES "0*6 0001 0*16 width:2 height:2 00480000 00480000 0*4 0001 0*32 0018 ffff"
constexpr std::array rules{
    Rule{"", "ftyp1. free*. moov1. moof*F mdat1P mdat*F"},
    Rule{"moov", "mvhd1. trak+. mvex1F"},
    Rule{"mvhd", "",
         "V 000000 created:w modified:w timescale:4 duration:w 00010000 0100 0*10 " MATRIX "0*24 next:4"},
    Rule{"trak", "tkhd1. edts?. udta?. mdia1."},
    Rule{"tkhd", "",
         "V flags:3 created:w modified:w id:4 0*4 duration:w 0*8 0000 0000 volume:2 0*2 " MATRIX
         "width:4 height:4"},
    Rule{"edts", "elst1."},
    Rule{"elst", "", "V 000000 count:4 rest"},
    Rule{"udta", "name1."},
    Rule{"mdia", "mdhd1. hdlr1. minf1."},
    Rule{"mdhd", "", "V 000000 created:w modified:w timescale:4 duration:w 55c4 0000"},
    Rule{"hdlr", "", "0*8 handler:4 0*12 rest", "0*4 component:4 handler:4 0*12 rest"},
    Rule{"minf", "vmhd?. smhd?. nmhd?. hdlr1Q dinf1. stbl1."},
    Rule{"vmhd", "", "00000001 0*8"},
    Rule{"smhd", "", "0*8"},
    Rule{"nmhd", "", "0*4"},
    Rule{"dinf", "dref1."},
    Rule{"dref", "url 1.", "0*4 00000001"},
    Rule{"url ", "", "00000001"},
    Rule{"stbl", "stsd1. stts1. stss?. stsc1. stsz1. stco?. co64?. sgpd?. sbgp?."},
    Rule{"stts", "", "0*4 rows*8"},
    Rule{"stss", "", "0*4 rows*4"},
    Rule{"stsc", "", "0*4 rows*12"},
    Rule{"stsz", "", "0*8 rows*4"},
    Rule{"stco", "", "0*4 rows*4"},
    Rule{"co64", "", "0*4 rows*8"},
    Rule{"stsd", "avc1?. hvc1?. mp4a?. mett?.", "0*4 00000001"},
    Rule{"avc1", "avcC1. colr1. pasp1.", PICTURES},
    Rule{"hvc1", "hvcC1. colr1. pasp1.", PICTURES},
    Rule{"avcC", "", "01 profile:3 ffe1 size:2 67 sequence:3 rest"},
    Rule{"hvcC", "", "01 .*12 f000 fc fd f8 f8 0000 0f 03 a0 0001 rest"},
    Rule{"colr", "", "6e636c78 0001 0001 0001 00", "6e636c63 0001 0001 0001"},
    Rule{"pasp", "", "00000001 00000001"},
    Rule{"mp4a", "esds1M wave1Q", "0*6 0001 0*8 channels:2 0010 0*4 rate:2 0000",
         "0*6 0001 0001 0*6 channels:2 0010 fffe 0000 rate:2 0000 00000400 0*8 00000002"},
    Rule{"mett", "", "0*6 0001 00 rest"},
    Rule{"wave", "frma1. mp4a1. esds1. ????1."},
    Rule{"frma", "", "6d703461"},
    Rule{"esds", "", "0*4 03 .. 0000 00 04 .. 4015 0*3 maximum:4 average:4 05 .. configuration:2 rest"},
    Rule{"sgpd", "", "01000000 726f6c6c 00000002 00000001 ffff"},
    Rule{"sbgp", "", "0*4 726f6c6c 00000001 count:4 00000001"},
    Rule{"mvex", "trex+."},
    Rule{"trex", "", "0*4 id:4 00000001 duration:4 0*4 flags:4"},
    Rule{"moof", "mfhd1. traf+."},
    Rule{"mfhd", "", "0*4 sequence:4"},
    Rule{"traf", "tfhd1. tfdt1. sbgp?. trun1."},
    Rule{"tfhd", "", "00020000 id:4"},
    Rule{"tfdt", "", "01000000 time:8"},
    Rule{"trun", "", "00 flags:3 count:4 offset:4 rest"},
};
#undef PICTURES
#undef MATRIX

std::string nameOf(const Box& box) {
    return box.type == std::string(4, '\0') ? "????" : box.type;
}

int digitOf(char letter) {
    return letter <= '9' ? letter - '0' : letter - 'a' + 10;
}

// The words of a text, separated by spaces. Rules have words of a fixed length, which may contain some.
std::vector<std::string_view> words(std::string_view text, std::size_t length = 0) {
    std::vector<std::string_view> found;
    while (!text.empty()) {
        const std::size_t size = std::min(text.size(), length > 0 ? length : text.find(' '));
        found.push_back(text.substr(0, size));
        text.remove_prefix(std::min(text.size(), size + 1));
    }
    return found;
}

class LayoutReader {
 public:
    LayoutReader(Box& box, Faults& faults)
        : box_(box), faults_(faults), bytes_(box.lead > 0 ? box.content.first(box.lead) : box.content) {}

    void read(std::string_view layout) {
        for (const std::string_view word : words(layout)) {
            if (word == "rest") return;
            const std::size_t place = size_ - bytes_.left();
            if (!readWord(word))
                faults_.add(box_,
                            "doesn't have “" + std::string(word) + "” at byte " + std::to_string(place));
        }
        faults_.require(bytes_.left() == 0, box_, "is too long");
    }

 private:
    bool readWord(std::string_view word) {
        if (word == "V") return (wide_ = bytes_.number(1)) <= 1;
        if (const std::size_t colon = word.find(':'); colon != word.npos) {
            const char size = word[colon + 1];
            box_.fields[std::string(word.substr(0, colon))] =
                bytes_.number(size == 'w' ? (wide_ == 1 ? 8U : 4U) : static_cast<std::size_t>(digitOf(size)));
            return true;
        }
        if (word.starts_with("rows*")) {
            const std::uint64_t count = box_.fields["count"] = bytes_.number(4);
            const std::size_t size = bytes_.left();
            bytes_.take(size);
            return size == count * std::stoul(std::string(word.substr(5)));
        }
        if (word.size() > 1 && word[1] == '*') {
            const ByteSpan all = bytes_.take(std::stoul(std::string(word.substr(2))));
            return word[0] == '.' ||
                   std::all_of(all.begin(), all.end(), [](std::uint8_t byte) { return byte == 0; });
        }
        const ByteSpan all = bytes_.take(word.size() / 2);
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (word[2 * i] != '.' && all[i] != digitOf(word[2 * i]) * 16 + digitOf(word[2 * i + 1]))
                return false;
        }
        return true;
    }

    Box& box_;
    Faults& faults_;
    Bytes bytes_;
    std::size_t size_ = bytes_.left();
    std::uint64_t wide_ = 0;
};

class BoxExamination {
 public:
    BoxExamination(const MovieForm& form, Faults& faults) : form_(form), faults_(faults) {}

    void examine(Box& box) const {
        // A box "mp4a" within "wave" holds nothing, unlike the sample entry of that name.
        const bool isEmptyEntry = box.type == "mp4a" && box.lead == 0;
        if (!box.isWhole || box.lead > box.content.size() || isEmptyEntry) return;
        for (const Rule& rule : rules) {
            if (rule.type != box.type) continue;
            const std::string_view layout = form_.isQuickTime ? rule.quickTimeLayout : rule.layout;
            if (!layout.empty()) LayoutReader(box, faults_).read(layout);
            if (!rule.children.empty()) examineChildren(box, rule.children);
        }
        for (Box& child : box.children)
            examine(child);
    }

 private:
    bool applies(char when) const {
        return when == '.' || when == (form_.isFragmented ? 'F' : 'P') ||
               when == (form_.isQuickTime ? 'Q' : 'M');
    }

    void examineChildren(const Box& parent, std::string_view children) const {
        std::string known;
        for (const std::string_view rule : words(children, 6)) {
            if (!applies(rule[5])) continue;
            const std::string type(rule.substr(0, 4));
            known += type;
            const auto count = std::count_if(parent.children.begin(), parent.children.end(),
                                             [&](const Box& box) { return nameOf(box) == type; });
            const bool isEnough = count > 0 || rule[4] == '?' || rule[4] == '*';
            const bool isTooMuch = count > 1 && (rule[4] == '1' || rule[4] == '?');
            faults_.require(isEnough && !isTooMuch, parent, "has a wrong number of “" + type + "”");
        }
        std::size_t last = 0;
        for (const Box& child : parent.children) {
            const std::size_t place = known.find(nameOf(child));
            faults_.require(place % 4 == 0, child, "does not belong here");
            // In the file itself, only the first box has its place.
            faults_.require(place >= last, child, "comes too late");
            last = parent.type.empty() ? 1 : place;
        }
    }

    const MovieForm& form_;
    Faults& faults_;
};

}  // namespace

void examineBoxes(Box& whole, const MovieForm& form, Faults& faults) {
    BoxExamination(form, faults).examine(whole);
}

}  // namespace lumicrate::stage
