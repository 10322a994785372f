// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/DamageTracker.h"

namespace lumicrate::x11 {

DamageTracker::DamageTracker(const Connection& connection, xcb_window_t window)
    : connection_(connection),
      notifyEvent_(connection.extensionEvent(xcb_damage_id, "DAMAGE", XCB_DAMAGE_NOTIFY)),
      damage_(connection.generateId()),
      region_(connection.generateId()) {
    connection.extension(xcb_xfixes_id, "XFIXES");
    // The server refuses all other requests of an extension before the version was negotiated.
    connection.await(xcb_damage_query_version_reply, xcb_damage_query_version(connection.get(), 1, 1));
    connection.await(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(connection.get(), 4, 0));
    xcb_damage_create(connection.get(), damage_, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_xfixes_create_region(connection.get(), region_, 0, nullptr);
}

DamageTracker::~DamageTracker() {
    xcb_xfixes_destroy_region(connection_.get(), region_);
    xcb_damage_destroy(connection_.get(), damage_);
}

bool DamageTracker::handleEvent(const xcb_generic_event_t& event) const {
    return eventType(event) == notifyEvent_ && eventAs<xcb_damage_notify_event_t>(event).damage == damage_;
}

void DamageTracker::request() {
    xcb_damage_subtract(connection_.get(), damage_, XCB_NONE, region_);
    pending_ = xcb_xfixes_fetch_region(connection_.get(), region_);
}

std::vector<PixelRect> DamageTracker::collect() {
    const auto reply = connection_.await(xcb_xfixes_fetch_region_reply, pending_);
    const xcb_rectangle_t* const rects = xcb_xfixes_fetch_region_rectangles(reply.get());
    const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
    std::vector<PixelRect> damage;
    damage.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        damage.push_back({rects[i].x, rects[i].y, rects[i].width, rects[i].height});
    return damage;
}

}  // namespace lumicrate::x11
