#include "Linux/X11/Screens/CompositorWatch.h"

#include <xcb/xfixes.h>

#include <string>

namespace lumicrate::x11 {

namespace {

/// A compositing manager owns a selection with the number of its screen in the name.
xcb_atom_t managerSelection(const Connection& connection) {
    int number = 0;
    for (auto each = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
         each.rem > 0 && each.data->root != connection.root(); xcb_screen_next(&each)) {
        ++number;
    }
    const std::string name = "_NET_WM_CM_S" + std::to_string(number);
    const auto atom = connection.await(
        xcb_intern_atom_reply,
        xcb_intern_atom(connection.get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()));
    return atom->atom;
}

}  // namespace

CompositorWatch::CompositorWatch(const Connection& connection)
    : notifyEvent_(static_cast<std::uint8_t>(connection.extension(xcb_xfixes_id, "XFIXES").first_event +
                                             XCB_XFIXES_SELECTION_NOTIFY)),
      selection_(managerSelection(connection)) {
    connection.await(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(connection.get(), 4, 0));
    xcb_xfixes_select_selection_input(connection.get(), connection.root(), selection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const auto owner = connection.await(xcb_get_selection_owner_reply,
                                        xcb_get_selection_owner(connection.get(), selection_));
    active_ = owner->owner != XCB_NONE;
}

bool CompositorWatch::hears(const xcb_generic_event_t& event) {
    if (event.response_type != notifyEvent_) return false;
    const auto& notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
    if (notify.selection != selection_) return false;
    active_ = notify.owner != XCB_NONE;
    return true;
}

}  // namespace lumicrate::x11
