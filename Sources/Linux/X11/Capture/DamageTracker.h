// DamageTracker: where the screen, or one window, was drawn on, as XDamage tells it.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// Watches a window with all that is in it. The server sends one event when damage begins; nothing more
/// comes, however much is drawn, until the damage was taken.
class DamageTracker {
 public:
    /// `connection` must outlive the tracker. Throws PlatformError when the server cannot do it. A window
    /// that has gone is never damaged.
    DamageTracker(const Connection& connection, xcb_window_t window);
    ~DamageTracker();
    DamageTracker(const DamageTracker&) = delete;
    DamageTracker& operator=(const DamageTracker&) = delete;

    /// Whether the event says that there is damage to take.
    bool hears(const xcb_generic_event_t& event) const;

    /// Takes the damage: from here on new drawing gives a new event, so pixels must be read after this and
    /// not before. The answer is fetched with collect(), so that other requests can travel with this one.
    void request();
    /// The damaged rectangles, in the window's coordinates, which begin inside its border.
    std::vector<PixelRect> collect();

 private:
    const Connection& connection_;
    std::uint8_t notifyEvent_;
    xcb_damage_damage_t damage_;
    xcb_xfixes_region_t region_;
    xcb_xfixes_fetch_region_cookie_t pending_{};
};

}  // namespace lumicrate::x11
