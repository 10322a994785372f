// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Screens/CompositorWatch.h"

#include <xcb/xfixes.h>

#include <string>

namespace lumicrate::x11 {

CompositorWatch::CompositorWatch(const Connection& connection)
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

bool CompositorWatch::handleEvent(const xcb_generic_event_t& event) {
    if (event.response_type != notifyEvent_) return false;
    const auto& notify = eventAs<xcb_xfixes_selection_notify_event_t>(event);
    if (notify.selection != selection_) return false;
    active_ = notify.owner != XCB_NONE;
    return true;
}

}  // namespace lumicrate::x11
