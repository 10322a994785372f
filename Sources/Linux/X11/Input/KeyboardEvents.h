// KeyboardEvents: how a server tells a client of its keyboard.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>

namespace lumicrate::x11 {

/// While it lives, a key that is held down is told as presses alone, without releases in between. A server
/// without the keyboard extension tells releases too, and therefore one press after the other.
class KeyboardEvents {
 public:
    /// Throws PlatformError when the server is lost.
    explicit KeyboardEvents(const Connection& connection);

    /// Whether the event says that keys or modifiers may be others than before.
    bool hears(const xcb_generic_event_t& event) const;

 private:
    std::uint8_t extensionEvent_ = 0;  ///< all events of the extension have this number
};

}  // namespace lumicrate::x11
