// SPDX-License-Identifier: GPL-3.0-or-later
// CompositorWatch: whether a compositing manager draws the screen. It owns the selection _NET_WM_CM_Sn then.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <xcb/xfixes.h>

#include <cstdint>
#include <string>

namespace lumicrate::x11 {

class CompositorWatch {
 public:
    /// Throws PlatformError when the server lacks XFixes or is lost.
    explicit CompositorWatch(const Connection& connection)
        : notifyEvent_(connection.extensionEvent(xcb_xfixes_id, "XFIXES", XCB_XFIXES_SELECTION_NOTIFY)),
          selection_(connection.internAtom("_NET_WM_CM_S" + std::to_string(connection.screenNumber()))) {
        connection.await(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(connection.get(), 4, 0));
        xcb_xfixes_select_selection_input(connection.get(), connection.root(), selection_,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                              XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                              XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        const auto owner = connection.await(xcb_get_selection_owner_reply,
                                            xcb_get_selection_owner(connection.get(), selection_));
        active_ = owner->owner != XCB_NONE;
    }

    bool active() const { return active_; }
    /// Whether the event announces that one started or ended.
    bool handleEvent(const xcb_generic_event_t& event) {
        if (event.response_type != notifyEvent_) return false;
        const auto& notify = eventAs<xcb_xfixes_selection_notify_event_t>(event);
        if (notify.selection != selection_) return false;
        active_ = notify.owner != XCB_NONE;
        return true;
    }

 private:
    std::uint8_t notifyEvent_;
    xcb_atom_t selection_;
    bool active_;
};

}  // namespace lumicrate::x11
