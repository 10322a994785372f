// Top-level windows: the children of the root window, of which a window manager makes frames for the windows
// of applications.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <vector>

namespace lumicrate::x11 {

/// The children of a window, bottom to top; none for a window that does not exist.
std::vector<xcb_window_t> childrenOf(const Connection& connection, xcb_window_t window);

/// The child of the root window that a window is, or lies in: an application's window gives its frame.
/// XCB_NONE for the root window and for one that does not exist.
xcb_window_t topLevelOf(const Connection& connection, xcb_window_t window);

/// The same for many windows, in their order, in no more round trips than for one.
std::vector<xcb_window_t> topLevelsOf(const Connection& connection, std::vector<xcb_window_t> windows);

}  // namespace lumicrate::x11
