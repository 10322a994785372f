// The windows on the screen, one above the other.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"

#include <vector>

namespace lumicrate::x11 {

/// The windows that a window manager says it manages, as EWMH has it.
struct ManagedWindows {
    bool known = false;  ///< false where no window manager says anything
    std::vector<xcb_window_t> windows;
};

/// In two round trips. A list that a window manager left behind does not count.
ManagedWindows readManagedWindows(const Connection& connection, const WindowAtoms& atoms);

struct OrderedWindow {
    xcb_window_t window = XCB_NONE;    ///< the application's
    xcb_window_t topLevel = XCB_NONE;  ///< its frame, or itself
    /// An application's window, as against panels, menus and other windows that look after themselves.
    bool managed = false;
};

struct WindowOrder {
    bool hasManager = false;             ///< one that tells what it manages
    std::vector<OrderedWindow> windows;  ///< front to back
};

/// All that can be seen or is covered by others. An application's window is one that the
/// window manager lists; where none does, one that bears the mark of being managed (WM_STATE), or a plain
/// top-level. The number of round trips does not grow with the number of windows. Throws PlatformError when
/// the server is lost.
WindowOrder readWindowOrder(const Connection& connection, const WindowAtoms& atoms);

}  // namespace lumicrate::x11
