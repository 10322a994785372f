// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/KeyCodes.h"

#include "Support/Log.h"

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

struct KnownKey {
    std::uint32_t code;
    xcb_keysym_t symbol;     ///< that the key types without modifiers
    xcb_keysym_t alternate;  ///< another symbol of the key at `position`; 0 for none
    std::uint32_t position;  ///< X key code on a US keyboard; 0 if the position does not identify the key
};

constexpr KnownKey knownKeys[] = {
    // Letters
    {0, 'a', 0, 38},
    {11, 'b', 0, 56},
    {8, 'c', 0, 54},
    {2, 'd', 0, 40},
    {14, 'e', 0, 26},
    {3, 'f', 0, 41},
    {5, 'g', 0, 42},
    {4, 'h', 0, 43},
    {34, 'i', 0, 31},
    {38, 'j', 0, 44},
    {40, 'k', 0, 45},
    {37, 'l', 0, 46},
    {46, 'm', 0, 58},
    {45, 'n', 0, 57},
    {31, 'o', 0, 32},
    {35, 'p', 0, 33},
    {12, 'q', 0, 24},
    {15, 'r', 0, 27},
    {1, 's', 0, 39},
    {17, 't', 0, 28},
    {32, 'u', 0, 30},
    {9, 'v', 0, 55},
    {13, 'w', 0, 25},
    {7, 'x', 0, 53},
    {16, 'y', 0, 29},
    {6, 'z', 0, 52},
    // Digits
    {18, '1', 0, 10},
    {19, '2', 0, 11},
    {20, '3', 0, 12},
    {21, '4', 0, 13},
    {23, '5', 0, 14},
    {22, '6', 0, 15},
    {26, '7', 0, 16},
    {28, '8', 0, 17},
    {25, '9', 0, 18},
    {29, '0', 0, 19},
    // Punctuation
    {27, '-', 0, 20},
    {24, '=', 0, 21},
    {33, '[', 0, 34},
    {30, ']', 0, 35},
    {41, ';', 0, 47},
    {39, '\'', 0, 48},
    {50, '`', 0, 49},
    {42, '\\', 0, 51},
    {43, ',', 0, 59},
    {47, '.', 0, 60},
    {44, '/', 0, 61},
    {10, 0xa7 /* section */, 0, 94},
    // Keys that type no character
    {49, ' ', 0, 0},
    {36, 0xff0d /* Return */, 0, 0},
    {48, 0xff09 /* Tab */, 0, 0},
    {51, 0xff08 /* BackSpace */, 0, 0},
    {53, 0xff1b /* Escape */, 0, 0},
    {117, 0xffff /* Delete */, 0, 0},
    {114, 0xff63 /* Insert */, 0xff6a /* Help */, 118},
    {123, 0xff51 /* Left */, 0, 0},
    {126, 0xff52 /* Up */, 0, 0},
    {124, 0xff53 /* Right */, 0, 0},
    {125, 0xff54 /* Down */, 0, 0},
    {115, 0xff50 /* Home */, 0, 0},
    {119, 0xff57 /* End */, 0, 0},
    {116, 0xff55 /* Page Up */, 0, 0},
    {121, 0xff56 /* Page Down */, 0, 0},
    // F1 to F19
    {122, 0xffbe, 0, 0},
    {120, 0xffbf, 0, 0},
    {99, 0xffc0, 0, 0},
    {118, 0xffc1, 0, 0},
    {96, 0xffc2, 0, 0},
    {97, 0xffc3, 0, 0},
    {98, 0xffc4, 0, 0},
    {100, 0xffc5, 0, 0},
    {101, 0xffc6, 0, 0},
    {109, 0xffc7, 0, 0},
    {103, 0xffc8, 0, 0},
    {111, 0xffc9, 0, 0},
    {105, 0xffca, 0x1008ff81 /* Tools */, 191},
    {107, 0xffcb, 0x1008ff45 /* Launch 5 */, 192},
    {113, 0xffcc, 0x1008ff46 /* Launch 6 */, 193},
    {106, 0xffcd, 0x1008ff47 /* Launch 7 */, 194},
    {64, 0xffce, 0x1008ff48 /* Launch 8 */, 195},
    {79, 0xffcf, 0x1008ff49 /* Launch 9 */, 196},
    {80, 0xffd0, 0, 0},
    // Keypad, without and with Num Lock
    {82, 0xff9e, 0xffb0, 90},
    {83, 0xff9c, 0xffb1, 87},
    {84, 0xff99, 0xffb2, 88},
    {85, 0xff9b, 0xffb3, 89},
    {86, 0xff96, 0xffb4, 83},
    {87, 0xff9d, 0xffb5, 84},
    {88, 0xff98, 0xffb6, 85},
    {89, 0xff95, 0xffb7, 79},
    {91, 0xff97, 0xffb8, 80},
    {92, 0xff9a, 0xffb9, 81},
    {65, 0xff9f, 0xffae, 91},
    {67, 0xffaa, 0, 0},
    {69, 0xffab, 0, 0},
    {75, 0xffaf, 0, 0},
    {76, 0xff8d, 0, 0},
    {78, 0xffad, 0, 0},
    {81, 0xffbd, 0, 0},
    {71, 0xff0b /* Clear */, 0xff7f /* Num Lock */, 77},
};

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
        for (const KnownKey& each : knownKeys) {
            const bool matches =
                symbol == each.symbol || (symbol == each.alternate && key == static_cast<int>(each.position));
            if (matches && !isGiven(each.code)) give(static_cast<std::size_t>(key), each.code);
        }
    }
    for (const KnownKey& each : knownKeys) {
        const bool exists =
            each.position != 0 && map.symbol(static_cast<int>(each.position), 0) != XCB_NO_SYMBOL;
        if (exists && !isGiven(each.code) && codes_[each.position] == none) give(each.position, each.code);
    }
    for (const KnownKey& each : knownKeys) {
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
