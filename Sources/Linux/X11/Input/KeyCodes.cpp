// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/KeyCodes.h"

#include "Support/Log.h"
#include "Support/VirtualKeys.h"

// The header has a member named `explicit`, a keyword of C++.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <cstddef>

namespace lumicrate::x11 {

namespace {

constexpr xcb_keysym_t numLock = 0xff7f;
constexpr xcb_keysym_t scrollLock = 0xff14;

/// Whether one of the symbols of the key is Num Lock or Scroll Lock.
bool typesLock(const KeyboardMap& map, xcb_keycode_t key) {
    for (int column = 0; column < map.symbolsPerKey; ++column) {
        const xcb_keysym_t symbol = map.symbol(key, column);
        if (symbol == numLock || symbol == scrollLock) return true;
    }
    return false;
}

}  // namespace

xcb_keysym_t KeyboardMap::symbol(int key, int column) const {
    if (key < firstKey || key - firstKey >= keyCount() || column >= symbolsPerKey) return XCB_NO_SYMBOL;
    return symbols[static_cast<std::size_t>(key - firstKey) * static_cast<std::size_t>(symbolsPerKey) +
                   static_cast<std::size_t>(column)];
}

KeyboardMap readKeyboardMap(const Connection& connection) {
    const xcb_setup_t* const setup = xcb_get_setup(connection.get());
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto reply =
        connection.await(xcb_get_keyboard_mapping_reply,
                         xcb_get_keyboard_mapping(connection.get(), setup->min_keycode, count));
    const xcb_keysym_t* const symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    return {setup->min_keycode,
            reply->keysyms_per_keycode,
            {symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply.get())}};
}

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

KeyboardEvents::KeyboardEvents(const Connection& connection) {
    const bool available = connection.hasExtension(xcb_xkb_id);
    log(LogArea::input, "extension XKEYBOARD: ", available);
    if (!available) return;
    extensionEvent_ = connection.extension(xcb_xkb_id, "XKEYBOARD").first_event;
    connection.await(xcb_xkb_use_extension_reply,
                     xcb_xkb_use_extension(connection.get(), XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION));
    const std::uint32_t repeats = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    connection.await(
        xcb_xkb_per_client_flags_reply,
        xcb_xkb_per_client_flags(connection.get(), XCB_XKB_ID_USE_CORE_KBD, repeats, repeats, 0, 0, 0));
    // A client that uses the extension gets no core events about changes.
    const std::uint16_t changes = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const std::uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(connection.get(), XCB_XKB_ID_USE_CORE_KBD, changes, 0, changes, parts, parts,
                          nullptr);
}

bool KeyboardEvents::isChange(const xcb_generic_event_t& event) const {
    const int type = eventType(event);
    if (type == XCB_MAPPING_NOTIFY)
        return eventAs<xcb_mapping_notify_event_t>(event).request != XCB_MAPPING_POINTER;
    // Only changes are selected.
    return extensionEvent_ != 0 && type == extensionEvent_;
}

KeyCodes::KeyCodes(const KeyboardMap& map) {
    const int end = std::min(map.firstKey + map.keyCount(), static_cast<int>(maxKeys));
    for (int key = map.firstKey; key < end; ++key) {
        const xcb_keysym_t symbol = map.symbol(key, 0);
        if (symbol == XCB_NO_SYMBOL) continue;
        for (const VirtualKey& each : virtualKeys()) {
            const bool matches =
                symbol == each.symbol || (symbol == each.alternate && key == static_cast<int>(each.position));
            if (matches && !isGiven(each.code)) give(static_cast<std::size_t>(key), each.code);
        }
    }
    for (const VirtualKey& each : virtualKeys()) {
        const bool exists =
            each.position != 0 && map.symbol(static_cast<int>(each.position), 0) != XCB_NO_SYMBOL;
        if (exists && !isGiven(each.code) && codes_[each.position] == none) give(each.position, each.code);
    }
    for (const VirtualKey& each : virtualKeys()) {
        for (int key = map.firstKey; key < end && !isGiven(each.code); ++key)
            if (map.symbol(key, 1) == each.symbol) keys_[each.code] = static_cast<xcb_keycode_t>(key);
    }
}

void KeyCodes::give(std::size_t key, std::uint32_t code) {
    codes_[key] = static_cast<std::int16_t>(code);
    keys_[code] = static_cast<xcb_keycode_t>(key);
}

xcb_keycode_t KeyCodes::keyOf(std::uint32_t virtualKeyCode) const {
    return virtualKeyCode < maxCodes ? keys_[virtualKeyCode] : xcb_keycode_t{0};
}

}  // namespace lumicrate::x11
