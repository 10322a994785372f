// KeyCodes: which key of the keyboard has which virtual key code.
//
// Virtual key codes name keys by what is printed on them (0 is A, 15 R, 49 the space bar), in the numbering
// that shortcuts are stored in. What is printed where depends on the layout that is in use.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <xcb/xproto.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// What the server's keys type.
struct KeyboardMap {
    int firstKey = 0;       ///< the key that the list begins with
    int symbolsPerKey = 0;  ///< the first is what a key types by itself, the second what it does with shift
    std::vector<xcb_keysym_t> symbols;

    int keyCount() const { return symbolsPerKey == 0 ? 0 : static_cast<int>(symbols.size()) / symbolsPerKey; }
    /// XCB_NO_SYMBOL where there is none.
    xcb_keysym_t symbol(int key, int column) const;

    bool operator==(const KeyboardMap&) const = default;
};

/// Throws PlatformError when the server is lost.
KeyboardMap readKeyboardMap(const Connection& connection);

/// One layout's codes.
class KeyCodes {
 public:
    /// Knows no keys.
    KeyCodes() = default;
    /// A key has the code of what it types by itself. Keys that type nothing that has a code (the letters of
    /// other alphabets, accented ones, the digits' keys of a French keyboard) have the code that belongs to
    /// their place, if no other key has got it. No two keys have the same code, and no key has two; but a
    /// code that no key has leads to the key that types it with shift.
    explicit KeyCodes(const KeyboardMap& map);

    /// The server's number of a key; 0 for a code that leads to none.
    xcb_keycode_t keyOf(std::uint32_t virtualKeyCode) const;
    /// -1 for a key that has none.
    std::int64_t virtualKeyCodeOf(xcb_keycode_t key) const { return codes_[key]; }

    bool operator==(const KeyCodes&) const = default;

 private:
    void give(std::size_t key, std::uint32_t code);
    bool isGiven(std::uint32_t code) const { return keys_[code] != 0; }

    static constexpr int none = -1;
    static constexpr std::size_t mostKeys = 256;
    static constexpr std::size_t mostCodes = 128;

    static constexpr std::array<std::int16_t, mostKeys> noCodes() {
        std::array<std::int16_t, mostKeys> codes{};
        codes.fill(none);
        return codes;
    }

    std::array<std::int16_t, mostKeys> codes_ = noCodes();
    std::array<xcb_keycode_t, mostCodes> keys_{};
};

}  // namespace lumicrate::x11
