// WindowAtoms: the names by which windows and window managers tell about themselves.
#pragma once

#include "Linux/X11/Server/Connection.h"

namespace lumicrate::x11 {

/// WM_NAME and WM_CLASS have numbers that never change (XCB_ATOM_WM_NAME, XCB_ATOM_WM_CLASS).
struct WindowAtoms {
    /// Asks for all of them in one round trip. Throws PlatformError.
    explicit WindowAtoms(const Connection& connection);

    /// Whether a property of that name says something of what windows there are, and how they are listed.
    bool tellsOfWindows(xcb_atom_t property) const;

    // Of the root window.
    xcb_atom_t clientList = XCB_NONE;
    xcb_atom_t clientListStacking = XCB_NONE;
    xcb_atom_t supportingWmCheck = XCB_NONE;
    // Of applications' windows.
    xcb_atom_t wmState = XCB_NONE;
    xcb_atom_t netWmName = XCB_NONE;
    xcb_atom_t netWmPid = XCB_NONE;
    xcb_atom_t netWmState = XCB_NONE;
    xcb_atom_t netFrameExtents = XCB_NONE;
    xcb_atom_t gtkFrameExtents = XCB_NONE;
    xcb_atom_t windowType = XCB_NONE;
    xcb_atom_t windowOpacity = XCB_NONE;  // of their frames, too
    // Values.
    xcb_atom_t utf8String = XCB_NONE;
    xcb_atom_t compoundText = XCB_NONE;
    xcb_atom_t stateHidden = XCB_NONE;
    xcb_atom_t typeDesktop = XCB_NONE;
    xcb_atom_t typeDock = XCB_NONE;
    xcb_atom_t typeToolbar = XCB_NONE;
    xcb_atom_t typeMenu = XCB_NONE;
    xcb_atom_t typeUtility = XCB_NONE;
    xcb_atom_t typeSplash = XCB_NONE;
    xcb_atom_t typeDialog = XCB_NONE;
    xcb_atom_t typeNormal = XCB_NONE;
    xcb_atom_t typeDropdownMenu = XCB_NONE;
    xcb_atom_t typePopupMenu = XCB_NONE;
    xcb_atom_t typeCombo = XCB_NONE;
    xcb_atom_t typeTooltip = XCB_NONE;
    xcb_atom_t typeNotification = XCB_NONE;
    xcb_atom_t typeDragAndDrop = XCB_NONE;
};

}  // namespace lumicrate::x11
