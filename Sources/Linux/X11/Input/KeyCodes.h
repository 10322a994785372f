// SPDX-License-Identifier: GPL-3.0-or-later
// KeyCodes: maps virtual key codes to the keys of the current keyboard layout.
//
// Virtual key codes are the numbering of stored shortcuts. They identify keys by what is printed on them (0
// is A, 15 is R, 49 is the space bar), so the layout determines which key has which code. For example, code 6
// (Z) is the key below A on a US keyboard, but the key right of T on a German one.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <xcb/xproto.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// The symbols (keysyms) of the server's keys.
struct KeyboardMap {
    int firstKey = 0;       ///< the first key in the list
    int symbolsPerKey = 0;  ///< the first without modifiers, the second with Shift
    std::vector<xcb_keysym_t> symbols;

    int keyCount() const { return symbolsPerKey == 0 ? 0 : static_cast<int>(symbols.size()) / symbolsPerKey; }
    /// XCB_NO_SYMBOL if there is none.
    xcb_keysym_t symbol(int key, int column) const;

    bool operator==(const KeyboardMap&) const = default;
};

/// Throws PlatformError if the connection is lost.
KeyboardMap readKeyboardMap(const Connection& connection);

/// The modifier bits of Caps Lock, Num Lock and Scroll Lock. Throws PlatformError if the connection is lost.
std::uint16_t readLockModifiers(const Connection& connection, const KeyboardMap& map);

/// Selects the events about changes of the keyboard, and turns off the release events of auto-repeat: a key
/// that is held down then sends repeated presses and a single release. A server without the XKEYBOARD
/// extension sends a release before every repeated press.
class KeyboardEvents {
 public:
    /// Throws PlatformError if the connection is lost.
    explicit KeyboardEvents(const Connection& connection);

    /// Whether the event reports that keys or modifiers may have changed.
    bool isChange(const xcb_generic_event_t& event) const;

 private:
    std::uint8_t extensionEvent_ = 0;  ///< the event type of all events of the extension; 0 without it
};

/// The codes of one layout.
class KeyCodes {
 public:
    /// Has no keys.
    KeyCodes() = default;
    /// Assigns codes in three passes; a code belongs to one key, and a key has one code.
    /// 1. A key has the code of the symbol that it types without modifiers.
    /// 2. A key whose symbol has no code (other alphabets, accented letters, the digit keys of a French
    /// keyboard)
    ///    gets the code of its position on a US keyboard, if that is still free.
    /// 3. A code without a key leads to the key that types its symbol with Shift. Such a key keeps its own
    /// code.
    explicit KeyCodes(const KeyboardMap& map);

    /// The X key code for a virtual key code; 0 if there is none.
    xcb_keycode_t keyOf(std::uint32_t virtualKeyCode) const;
    /// -1 for a key without a code.
    std::int64_t virtualKeyCodeOf(xcb_keycode_t key) const { return codes_[key]; }

    bool operator==(const KeyCodes&) const = default;

 private:
    void give(std::size_t key, std::uint32_t code);
    bool isGiven(std::uint32_t code) const { return keys_[code] != 0; }

    static constexpr int none = -1;
    static constexpr std::size_t maxKeys = 256;
    static constexpr std::size_t maxCodes = 128;

    static constexpr std::array<std::int16_t, maxKeys> noCodes() {
        std::array<std::int16_t, maxKeys> codes{};
        codes.fill(none);
        return codes;
    }

    std::array<std::int16_t, maxKeys> codes_ = noCodes();
    std::array<xcb_keycode_t, maxCodes> keys_{};
};

}  // namespace lumicrate::x11
