// DamageTracker: where the screen was drawn on, as XDamage tells it.
#pragma once

#include "Linux/X11/Connection.h"
#include "Support/Geometry.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// Watches the root window with all that is on it. The server sends one event when damage begins; nothing
/// more comes, however much is drawn, until the damage was taken.
class DamageTracker {
 public:
    /// `connection` must outlive the tracker. Throws PlatformError when the server cannot do it.
    explicit DamageTracker(const Connection& connection);
    ~DamageTracker();
    DamageTracker(const DamageTracker&) = delete;
    DamageTracker& operator=(const DamageTracker&) = delete;

    /// Whether the event says that there is damage to take.
    bool hears(const xcb_generic_event_t& event) const;

    /// Takes the damage: from here on new drawing gives a new event, so pixels must be read after this and
    /// not before. The answer is fetched with collect(), so that other requests can travel with this one.
    void request();
    /// The damaged rectangles, on the root window.
    std::vector<PixelRect> collect();

 private:
    const Connection& connection_;
    std::uint8_t notifyEvent_;
    xcb_damage_damage_t damage_;
    xcb_xfixes_region_t region_;
    xcb_xfixes_fetch_region_cookie_t pending_{};
};

}  // namespace lumicrate::x11
