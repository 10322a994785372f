// SPDX-License-Identifier: GPL-3.0-or-later
// CompositorWatch: whether a compositing manager draws the screen. It owns the selection _NET_WM_CM_Sn then.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>

namespace lumicrate::x11 {

class CompositorWatch {
 public:
    /// Throws PlatformError when the server lacks XFixes or is lost.
    explicit CompositorWatch(const Connection& connection);

    bool active() const { return active_; }
    /// Whether the event announces that one started or ended.
    bool handleEvent(const xcb_generic_event_t& event);

 private:
    std::uint8_t notifyEvent_;
    xcb_atom_t selection_;
    bool active_;
};

}  // namespace lumicrate::x11
