// SPDX-License-Identifier: GPL-3.0-or-later
// KeyboardLayout: what each key of the keyboard types in each of its layouts, with every set of modifiers.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <array>
#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// A copy of the server's map, as the XKEYBOARD extension defines it: a keyboard has up to four layouts
/// (groups), and a key has in each a list of symbols (levels), of which its type chooses one by the
/// modifiers.
class KeyboardLayout {
 public:
    /// Types nothing.
    KeyboardLayout() = default;
    /// Reads the core keyboard's map. The extension must be in use. Throws PlatformError if the connection is
    /// lost.
    explicit KeyboardLayout(const Connection& connection);

    /// The symbol of a key; XCB_NO_SYMBOL if it has none. `group` may be any number: the key says which of
    /// its own groups it stands for. `modifiers` are the server's, of all kinds (XCB_MOD_MASK_…).
    xcb_keysym_t symbol(std::uint32_t key, unsigned group, std::uint8_t modifiers) const;

    static constexpr unsigned maxGroups = 4;

 private:
    struct Level {
        std::uint8_t modifiers = 0;
        std::uint8_t number = 0;
    };
    struct Type {
        std::uint8_t mask = 0;
        std::vector<Level> levels;  ///< those above the first
    };
    struct Key {
        std::array<std::uint8_t, maxGroups> types{};
        std::uint8_t groupInfo = 0;
        std::uint8_t width = 0;  ///< symbols for each group
        std::vector<xcb_keysym_t> symbols;

        unsigned groupCount() const { return groupInfo & 0x0fU; }
        unsigned ownGroup(unsigned group) const;
    };

    std::uint32_t firstKey_ = 0;
    std::vector<Type> types_;
    std::vector<Key> keys_;
};

}  // namespace lumicrate::x11
