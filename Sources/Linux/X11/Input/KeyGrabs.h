// KeyGrabs: key combinations that a client takes from the whole system, whatever locks are on.
#pragma once

#include "Linux/X11/Input/KeyCodes.h"
#include "Linux/X11/Server/Connection.h"

#include <cstdint>

namespace lumicrate::x11 {

/// A key and the modifiers that have to be down with it, both as the server numbers them.
struct KeyCombination {
    xcb_keycode_t key = 0;
    std::uint16_t modifiers = 0;
    bool operator==(const KeyCombination&) const = default;
};

/// The modifiers of Caps Lock, Num Lock and Scroll Lock, which do not count in a combination. Throws
/// PlatformError when the server is lost.
std::uint16_t readLockModifiers(const Connection& connection, const KeyboardMap& map);

/// False, and nothing is taken, when another client has the combination with any of the locks. Throws
/// PlatformError when the server is lost.
bool grab(const Connection& connection, const KeyCombination& combination, std::uint16_t locks);
/// Gives back what was taken with the same locks.
void ungrab(const Connection& connection, const KeyCombination& combination, std::uint16_t locks);

}  // namespace lumicrate::x11
