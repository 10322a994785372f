#include "Tests/Stage/Movie/BoxRules.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace lumicrate::stage {

namespace {

constexpr std::size_t any = 1U << 30;
constexpr std::string_view terminator{"\0\0\0\0", 4};

enum class When { Always, Plain, Fragmented, QuickTime, Mpeg4 };

// A box that may stand in a parent; "" is the file.
struct Rule {
    std::string_view parent;
    std::string_view type;
    std::size_t least = 0;
    std::size_t most = any;
    When when = When::Always;
};

constexpr std::array rules{
    Rule{"", "ftyp", 1, 1},
    Rule{"", "moov", 1, 1},
    Rule{"", "mdat", 1, any, When::Plain},
    Rule{"", "mdat", 0, any, When::Fragmented},
    Rule{"", "free"},
    Rule{"", "skip"},
    Rule{"", "wide", 0, any, When::QuickTime},
    Rule{"", "moof", 0, any, When::Fragmented},
    Rule{"", "sidx", 0, any, When::Fragmented},
    Rule{"", "styp", 0, any, When::Fragmented},
    Rule{"", "mfra", 0, 1, When::Fragmented},
    Rule{"moov", "mvhd", 1, 1},
    Rule{"moov", "trak", 1, any},
    Rule{"moov", "mvex", 1, 1, When::Fragmented},
    Rule{"moov", "udta", 0, 1},
    Rule{"moov", "meta", 0, 1},
    Rule{"moov", "free"},
    Rule{"trak", "tkhd", 1, 1},
    Rule{"trak", "edts", 0, 1},
    Rule{"trak", "mdia", 1, 1},
    Rule{"trak", "udta", 0, 1},
    Rule{"trak", "tref", 0, 1},
    Rule{"trak", "tapt", 0, 1, When::QuickTime},
    Rule{"edts", "elst", 1, 1},
    Rule{"mdia", "mdhd", 1, 1},
    Rule{"mdia", "hdlr", 1, 1},
    Rule{"mdia", "minf", 1, 1},
    Rule{"minf", "vmhd", 0, 1},
    Rule{"minf", "smhd", 0, 1},
    Rule{"minf", "hdlr", 1, 1, When::QuickTime},
    Rule{"minf", "dinf", 1, 1},
    Rule{"minf", "stbl", 1, 1},
    Rule{"dinf", "dref", 1, 1},
    Rule{"dref", "url ", 1, 1},
    Rule{"stbl", "stsd", 1, 1},
    Rule{"stbl", "stts", 1, 1},
    Rule{"stbl", "ctts", 0, 1},
    Rule{"stbl", "cslg", 0, 1},
    Rule{"stbl", "stss", 0, 1},
    Rule{"stbl", "sdtp", 0, 1},
    Rule{"stbl", "stsc", 1, 1},
    Rule{"stbl", "stsz", 1, 1},
    Rule{"stbl", "stco", 0, 1},
    Rule{"stbl", "co64", 0, 1},
    Rule{"stbl", "sgpd", 0, 1},
    Rule{"stbl", "sbgp", 0, 1},
    Rule{"stsd", "avc1", 0, 1},
    Rule{"stsd", "hvc1", 0, 1},
    Rule{"stsd", "mp4a", 0, 1},
    Rule{"avc1", "avcC", 1, 1},
    Rule{"avc1", "colr", 1, 1},
    Rule{"avc1", "pasp", 0, 1},
    Rule{"avc1", "btrt", 0, 1, When::Mpeg4},
    Rule{"avc1", "fiel", 0, 1, When::QuickTime},
    Rule{"hvc1", "hvcC", 1, 1},
    Rule{"hvc1", "colr", 1, 1},
    Rule{"hvc1", "pasp", 0, 1},
    Rule{"hvc1", "btrt", 0, 1, When::Mpeg4},
    Rule{"hvc1", "fiel", 0, 1, When::QuickTime},
    Rule{"mp4a", "esds", 1, 1, When::Mpeg4},
    Rule{"mp4a", "btrt", 0, 1, When::Mpeg4},
    Rule{"mp4a", "wave", 1, 1, When::QuickTime},
    Rule{"mp4a", "chan", 0, 1, When::QuickTime},
    Rule{"wave", "frma", 1, 1},
    Rule{"wave", "mp4a", 0, 1},
    Rule{"wave", "esds", 1, 1},
    Rule{"wave", terminator, 1, 1},
    Rule{"mvex", "mehd", 0, 1},
    Rule{"mvex", "trex", 1, any},
    Rule{"moof", "mfhd", 1, 1},
    Rule{"moof", "traf", 1, any},
    Rule{"traf", "tfhd", 1, 1},
    Rule{"traf", "tfdt", 1, 1},
    Rule{"traf", "trun", 1, any},
    Rule{"traf", "sgpd", 0, 1},
    Rule{"traf", "sbgp", 0, 1},
    Rule{"mfra", "tfra", 0, any},
    Rule{"mfra", "mfro", 1, 1},
    Rule{"meta", "hdlr", 1, 1},
    Rule{"meta", "ilst", 0, 1},
    Rule{"meta", "keys", 0, 1, When::QuickTime},
    Rule{"meta", "free"},
};

// What may be in these is their own affair.
constexpr std::array openParents{std::string_view("udta"), std::string_view("ilst"), std::string_view("tref"),
                                 std::string_view("tapt")};

struct Order {
    std::string_view parent;
    std::string_view before;
    std::string_view after;  // "" for all others
};

constexpr std::array orders{
    Order{"", "ftyp", ""},
    Order{"moov", "mvhd", ""},
    Order{"trak", "tkhd", ""},
    Order{"trak", "edts", "mdia"},
    Order{"mdia", "mdhd", ""},
    Order{"mdia", "hdlr", "minf"},
    Order{"minf", "vmhd", "stbl"},
    Order{"minf", "smhd", "stbl"},
    Order{"minf", "dinf", "stbl"},
    Order{"stbl", "stsd", ""},
    Order{"stbl", "sgpd", "sbgp"},
    Order{"mvex", "mehd", "trex"},
    Order{"moof", "mfhd", ""},
    Order{"traf", "tfhd", ""},
    Order{"traf", "tfdt", "trun"},
    Order{"wave", "frma", "esds"},
    Order{"wave", "frma", terminator},
    Order{"wave", "mp4a", "esds"},
    Order{"wave", "esds", terminator},
    Order{"mfra", "tfra", "mfro"},
    Order{"meta", "hdlr", ""},
};

std::string quoted(std::string_view type) {
    return type == terminator ? "the terminator" : "“" + std::string(type) + "”";
}

class Examination {
 public:
    Examination(const MovieForm& form, Faults& faults) : form_(form), faults_(faults) {}

    void examine(const Box& parent) const {
        if (!parent.isWhole) return;
        if (std::find(openParents.begin(), openParents.end(), parent.type) == openParents.end() &&
            std::any_of(rules.begin(), rules.end(),
                        [&](const Rule& rule) { return rule.parent == parent.type; })) {
            examineCounts(parent);
            examineMembership(parent);
            examineOrder(parent);
        }
        for (const Box& child : parent.children) {
            examine(child);
        }
    }

 private:
    bool applies(const Rule& rule) const {
        switch (rule.when) {
            case When::Always:
                return true;
            case When::Plain:
                return !form_.isFragmented;
            case When::Fragmented:
                return form_.isFragmented;
            case When::QuickTime:
                return form_.isQuickTime;
            case When::Mpeg4:
                return !form_.isQuickTime;
        }
        return false;
    }

    // A box "mp4a" within "wave" holds nothing, unlike the sample entry of that name.
    static bool isLeaf(const Box& box) { return box.type == "mp4a" && box.children.empty() && box.lead == 0; }

    void examineCounts(const Box& parent) const {
        if (isLeaf(parent)) return;
        for (const Rule& rule : rules) {
            if (rule.parent != parent.type || !applies(rule)) continue;
            const std::size_t count = parent.all(rule.type).size();
            if (count < rule.least) faults_.add(parent, "lacks " + quoted(rule.type));
            if (count > rule.most) faults_.add(parent, "has more than one " + quoted(rule.type));
        }
    }

    void examineMembership(const Box& parent) const {
        for (const Box& child : parent.children) {
            const bool known = std::any_of(rules.begin(), rules.end(), [&](const Rule& rule) {
                return rule.parent == parent.type && rule.type == child.type && applies(rule);
            });
            faults_.require(known, child, "does not belong here");
        }
    }

    void examineOrder(const Box& parent) const {
        const auto& boxes = parent.children;
        for (const Order& order : orders) {
            if (order.parent != parent.type || parent.child(order.before) == nullptr) continue;
            const auto isFollower = [&](const Box& box) {
                return order.after.empty() ? box.type != order.before : box.type == order.after;
            };
            const auto follower = std::find_if(boxes.begin(), boxes.end(), isFollower);
            const auto late =
                std::find_if(follower, boxes.end(), [&](const Box& box) { return box.type == order.before; });
            if (late != boxes.end()) faults_.add(*late, "must stand before " + quoted(follower->type));
        }
    }

    const MovieForm& form_;
    Faults& faults_;
};

}  // namespace

void examineBoxes(const Box& whole, const MovieForm& form, Faults& faults) {
    Examination(form, faults).examine(whole);
}

}  // namespace lumicrate::stage
