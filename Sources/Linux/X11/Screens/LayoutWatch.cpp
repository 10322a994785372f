#include "Linux/X11/Screens/LayoutWatch.h"

#include "Linux/X11/Server/RootEvents.h"

#include <xcb/randr.h>

namespace lumicrate::x11 {

LayoutWatch::LayoutWatch(const Connection& connection) : root_(connection.root()) {
    // A monitor that is made by hand changes no output; the server tells of it, like of a root window that
    // changes its size, as a change of the root window itself.
    selectRootEvents(connection, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    if (!connection.hasExtension(xcb_randr_id)) return;
    connection.await(xcb_randr_query_version_reply, xcb_randr_query_version(connection.get(), 1, 5));
    firstEvent_ = connection.extension(xcb_randr_id, "RANDR").first_event;
    xcb_randr_select_input(connection.get(), root_,
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
}

bool LayoutWatch::hears(const xcb_generic_event_t& event) const {
    const int type = event.response_type & 0x7f;
    if (type == XCB_CONFIGURE_NOTIFY) {
        return reinterpret_cast<const xcb_configure_notify_event_t&>(event).window == root_;
    }
    if (firstEvent_ == 0) return false;
    return type == firstEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == firstEvent_ + XCB_RANDR_NOTIFY;
}

}  // namespace lumicrate::x11
