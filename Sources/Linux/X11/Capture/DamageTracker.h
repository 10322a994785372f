// SPDX-License-Identifier: GPL-3.0-or-later
// DamageTracker: where a window, or the whole screen, was drawn on (XDamage).
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// Tracks a window including its children. The server sends one event when damage begins, and no further one
/// until the damage was requested, however much is drawn.
class DamageTracker {
 public:
    /// `connection` must outlive the tracker. Throws PlatformError when the server lacks an extension. A
    /// window that no longer exists is never damaged.
    DamageTracker(const Connection& connection, xcb_window_t window);
    ~DamageTracker();
    DamageTracker(const DamageTracker&) = delete;
    DamageTracker& operator=(const DamageTracker&) = delete;

    /// Whether the event announces damage of the window.
    bool handleEvent(const xcb_generic_event_t& event) const;

    /// Requests and resets the damage; collect() waits for the reply. Pixels must be read after this, not
    /// before: what is drawn from now on causes a new event.
    void request();
    /// The damaged rectangles in the window's coordinates, whose origin is inside the border.
    std::vector<PixelRect> collect();

 private:
    const Connection& connection_;
    std::uint8_t notifyEvent_;
    xcb_damage_damage_t damage_;
    xcb_xfixes_region_t region_;
    xcb_xfixes_fetch_region_cookie_t pending_{};
};

}  // namespace lumicrate::x11
