// SPDX-License-Identifier: GPL-3.0-or-later
// The toolkit's own connection to the X server, for requests that the toolkit does not offer.
#pragma once

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace lumicrate::views {

/// Null without an application, and on a desktop that is not X11.
inline xcb_connection_t* xcbConnection() {
    const auto* const x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

struct FreeXcbReply {
    void operator()(void* reply) const { std::free(reply); }
};
/// A reply or an error of xcb, which its receiver has to free.
template <class Reply>
using XcbReply = std::unique_ptr<Reply, FreeXcbReply>;

/// Waits until the server has carried out all requests so far.
inline void syncXcb() {
    xcb_connection_t* const x = xcbConnection();
    if (!x) return;
    const XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
}

// These need a connection.

/// Qt uses the first screen of a server only.
inline xcb_window_t xcbRoot() {
    return xcb_setup_roots_iterator(xcb_get_setup(xcbConnection())).data->root;
}

inline xcb_atom_t xcbAtom(std::string_view name) {
    xcb_connection_t* const x = xcbConnection();
    const auto cookie = xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(x, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

/// Whether a client has that selection, which stands for a service: "_NET_WM_CM_S0" for compositing.
inline bool isXcbSelectionOwned(xcb_atom_t selection) {
    xcb_connection_t* const x = xcbConnection();
    const XcbReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, selection), nullptr));
    return reply && reply->owner != XCB_NONE;
}

}  // namespace lumicrate::views
