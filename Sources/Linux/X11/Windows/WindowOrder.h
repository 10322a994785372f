// SPDX-License-Identifier: GPL-3.0-or-later
// The tree of windows: top-level windows, the applications' windows in them, and their stacking order.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"

#include <vector>

namespace lumicrate::x11 {

/// The top-level window (child of the root window) that a window is or lies in. For an application's window
/// this is usually the window manager's frame. XCB_NONE for the root window and for one that does not exist.
xcb_window_t topLevelOf(const Connection& connection, xcb_window_t window);

/// The same for many windows, in their order, in as many round trips as for one.
std::vector<xcb_window_t> topLevelsOf(const Connection& connection, std::vector<xcb_window_t> windows);

/// How deep in its frame an application's window can lie; the frame is the first level.
inline constexpr int frameDepth = 3;

/// The children of all these windows, in one round trip.
std::vector<xcb_window_t> childrenOf(const Connection& connection, const std::vector<xcb_window_t>& parents);

/// As topLevelOf, but XCB_NONE for a window that lies in another application's window, as a tray icon does in
/// a panel.
xcb_window_t frameOf(const Connection& connection, const WindowAtoms& atoms, xcb_window_t window);

/// The windows in the window manager's client list (EWMH).
struct ManagedWindows {
    bool known = false;  ///< false without a window manager that publishes a list
    std::vector<xcb_window_t> windows;
};

/// The window that stands for the window manager (EWMH); XCB_NONE without one. Two round trips.
xcb_window_t managerWindow(const Connection& connection, const WindowAtoms& atoms);

/// Two round trips. A list that a dead window manager left behind is ignored.
ManagedWindows readManagedWindows(const Connection& connection, const WindowAtoms& atoms);

struct OrderedWindow {
    xcb_window_t window = XCB_NONE;    ///< the application's
    xcb_window_t topLevel = XCB_NONE;  ///< its frame, or itself
    bool managed = false;              ///< false for panels, menus and other unmanaged windows
};

struct WindowOrder {
    bool hasManager = false;             ///< one that publishes a client list
    std::vector<OrderedWindow> windows;  ///< front to back
};

/// All viewable windows, also those covered by others. An application's window is one in the client list;
/// without a list, one with WM_STATE, or else a top-level window without override-redirect. The number of
/// round trips does not depend on the number of windows. Throws PlatformError when the server is lost.
WindowOrder readWindowOrder(const Connection& connection, const WindowAtoms& atoms);

}  // namespace lumicrate::x11
