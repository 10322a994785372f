// SPDX-License-Identifier: GPL-3.0-or-later
// WindowAtoms: the properties of windows and window managers, and their values.
#pragma once

#include "Linux/X11/Server/Connection.h"

namespace lumicrate::x11 {

/// WM_NAME and WM_CLASS are predefined (XCB_ATOM_WM_NAME, XCB_ATOM_WM_CLASS).
struct WindowAtoms {
    /// Interns all in one round trip. Throws PlatformError when the server is lost.
    explicit WindowAtoms(const Connection& connection);

    /// Whether a change of this property can change the window list.
    bool affectsWindowList(xcb_atom_t property) const;

    // Properties of the root window.
    xcb_atom_t clientList = XCB_NONE;
    xcb_atom_t clientListStacking = XCB_NONE;
    xcb_atom_t supportingWmCheck = XCB_NONE;
    // Properties of applications' windows.
    xcb_atom_t wmState = XCB_NONE;
    xcb_atom_t netWmName = XCB_NONE;
    xcb_atom_t netWmPid = XCB_NONE;
    xcb_atom_t netWmState = XCB_NONE;
    xcb_atom_t clientLeader = XCB_NONE;
    xcb_atom_t netFrameExtents = XCB_NONE;
    xcb_atom_t gtkFrameExtents = XCB_NONE;
    xcb_atom_t windowType = XCB_NONE;
    xcb_atom_t windowOpacity = XCB_NONE;  // also of their frames
    // Values.
    xcb_atom_t utf8String = XCB_NONE;
    xcb_atom_t compoundText = XCB_NONE;
    xcb_atom_t stateHidden = XCB_NONE;
};

}  // namespace lumicrate::x11
