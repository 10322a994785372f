// CompositorWatch: knows whether a compositing manager draws the screen.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>

namespace lumicrate::x11 {

class CompositorWatch {
 public:
    /// `connection` must outlive the watch. Throws PlatformError when the server cannot do it.
    explicit CompositorWatch(const Connection& connection);

    bool active() const { return active_; }
    /// Whether the event says that one came or went.
    bool hears(const xcb_generic_event_t& event);

 private:
    std::uint8_t notifyEvent_;
    xcb_atom_t selection_;
    bool active_;
};

}  // namespace lumicrate::x11
