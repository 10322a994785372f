// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/KeyboardLayout.h"

// The header has a member named `explicit`, a keyword of C++.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace lumicrate::x11 {

KeyboardLayout::KeyboardLayout(const Connection& connection) {
    constexpr std::uint16_t parts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS;
    const auto reply = connection.await(
        xcb_xkb_get_map_reply, xcb_xkb_get_map(connection.get(), XCB_XKB_ID_USE_CORE_KBD, parts, 0, 0, 0, 0,
                                               0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    xcb_xkb_get_map_map_t map{};
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
                               reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors,
                               reply->virtualMods, reply->totalKeyExplicit, reply->totalModMapKeys,
                               reply->totalVModMapKeys, reply->present, &map);
    for (auto each = xcb_xkb_get_map_map_types_rtrn_iterator(reply.get(), &map); each.rem > 0;
         xcb_xkb_key_type_next(&each)) {
        Type& type = types_.emplace_back(Type{each.data->mods_mask, {}});
        const xcb_xkb_kt_map_entry_t* const entries = xcb_xkb_key_type_map(each.data);
        for (int i = 0; i < xcb_xkb_key_type_map_length(each.data); ++i)
            if (entries[i].active != 0) type.levels.push_back({entries[i].mods_mask, entries[i].level});
    }
    firstKey_ = reply->firstKeySym;
    for (auto each = xcb_xkb_get_map_map_syms_rtrn_iterator(reply.get(), &map); each.rem > 0;
         xcb_xkb_key_sym_map_next(&each)) {
        Key& key = keys_.emplace_back();
        std::copy_n(std::begin(each.data->kt_index), maxGroups, key.types.begin());
        key.groupInfo = each.data->groupInfo;
        key.width = each.data->width;
        const xcb_keysym_t* const symbols = xcb_xkb_key_sym_map_syms(each.data);
        key.symbols.assign(symbols, symbols + xcb_xkb_key_sym_map_syms_length(each.data));
    }
}

/// A group that the key lacks is wrapped around, replaced by the last one, or by one that the key names.
unsigned KeyboardLayout::Key::ownGroup(unsigned group) const {
    if (group < groupCount()) return group;
    const unsigned named = (groupInfo >> 4U) & 0x03U;
    switch (groupInfo & 0xc0U) {
        case XCB_XKB_GROUPS_WRAP_CLAMP_INTO_RANGE:
            return groupCount() - 1;
        case XCB_XKB_GROUPS_WRAP_REDIRECT_INTO_RANGE:
            return named < groupCount() ? named : 0;
        default:
            return group % groupCount();
    }
}

xcb_keysym_t KeyboardLayout::symbol(std::uint32_t key, unsigned group, std::uint8_t modifiers) const {
    if (key < firstKey_ || key - firstKey_ >= keys_.size()) return XCB_NO_SYMBOL;
    const Key& found = keys_[key - firstKey_];
    if (found.groupCount() == 0) return XCB_NO_SYMBOL;
    const unsigned own = found.ownGroup(group);
    if (own >= maxGroups || found.types[own] >= types_.size()) return XCB_NO_SYMBOL;
    const Type& type = types_[found.types[own]];
    const auto level = std::ranges::find(type.levels, modifiers & type.mask, &Level::modifiers);
    const std::size_t place =
        std::size_t{own} * found.width + (level == type.levels.end() ? 0U : level->number);
    return place < found.symbols.size() ? found.symbols[place] : xcb_keysym_t{XCB_NO_SYMBOL};
}

}  // namespace lumicrate::x11
