#include "Linux/X11/Input/KeyGrabs.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace lumicrate::x11 {

namespace {

constexpr xcb_keysym_t numLock = 0xff7f;
constexpr xcb_keysym_t scrollLock = 0xff14;

bool typesLock(const KeyboardMap& map, xcb_keycode_t key) {
    for (int column = 0; column < map.symbolsPerKey; ++column) {
        const xcb_keysym_t symbol = map.symbol(key, column);
        if (symbol == numLock || symbol == scrollLock) return true;
    }
    return false;
}

/// The combination with every choice of those locks that are not part of it.
std::vector<std::uint16_t> variants(const KeyCombination& combination, std::uint16_t locks) {
    std::vector<std::uint16_t> all{combination.modifiers};
    for (unsigned bit = 1; bit <= XCB_MOD_MASK_5; bit <<= 1U) {
        if ((locks & bit) == 0 || (combination.modifiers & bit) != 0) continue;
        const std::size_t count = all.size();
        for (std::size_t i = 0; i < count; ++i)
            all.push_back(static_cast<std::uint16_t>(all[i] | bit));
    }
    return all;
}

}  // namespace

std::uint16_t readLockModifiers(const Connection& connection, const KeyboardMap& map) {
    const auto reply =
        connection.await(xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(connection.get()));
    const xcb_keycode_t* const keys = xcb_get_modifier_mapping_keycodes(reply.get());
    unsigned locks = XCB_MOD_MASK_LOCK;
    constexpr int modifiers = 8;
    for (int modifier = 0; modifier < modifiers; ++modifier) {
        const xcb_keycode_t* const first =
            keys + static_cast<std::ptrdiff_t>(modifier) * reply->keycodes_per_modifier;
        if (std::any_of(first, first + reply->keycodes_per_modifier,
                        [&](xcb_keycode_t key) { return key != 0 && typesLock(map, key); }))
            locks |= 1U << static_cast<unsigned>(modifier);
    }
    return static_cast<std::uint16_t>(locks);
}

bool grab(const Connection& connection, const KeyCombination& combination, std::uint16_t locks) {
    const auto all = variants(combination, locks);
    std::vector<xcb_void_cookie_t> cookies;
    for (const std::uint16_t modifiers : all) {
        cookies.push_back(xcb_grab_key_checked(connection.get(), 0, connection.root(), modifiers,
                                               combination.key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    // All of them are asked for before the first is waited for.
    const auto refused = std::count_if(cookies.begin(), cookies.end(), [&](xcb_void_cookie_t cookie) {
        return !connection.succeeds(cookie);
    });
    if (refused == 0) return true;
    ungrab(connection, combination, locks);
    return false;
}

void ungrab(const Connection& connection, const KeyCombination& combination, std::uint16_t locks) {
    for (const std::uint16_t modifiers : variants(combination, locks))
        xcb_ungrab_key(connection.get(), combination.key, connection.root(), modifiers);
    connection.flush();
}

}  // namespace lumicrate::x11
