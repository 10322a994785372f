// SPDX-License-Identifier: GPL-3.0-or-later
// Virtual key codes and the names of the same keys on Linux.
#pragma once

#include <cstdint>
#include <span>

namespace lumicrate {

/// Virtual key codes are the numbering of stored shortcuts. Symbols are the keysyms of X11, which Wayland
/// desktops use too.
struct VirtualKey {
    std::uint32_t code = 0;
    std::uint32_t symbol = 0;     ///< that the key types without modifiers
    const char* name = nullptr;   ///< of the symbol, as xkbcommon writes it: "r", "Prior"
    std::uint32_t alternate = 0;  ///< another symbol of the key at `position`; 0 for none
    std::uint32_t position = 0;  ///< X key code on a US keyboard; 0 if the position does not identify the key
};

/// All keys that a shortcut can have.
std::span<const VirtualKey> virtualKeys();
/// nullptr if no key has the code.
const VirtualKey* virtualKey(std::uint32_t code);

}  // namespace lumicrate
