// SPDX-License-Identifier: GPL-3.0-or-later
// VisibleFrameWatch: where a window's visible frame lies within its top-level window, kept up to date.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowStack.h"
#include "Support/Geometry.h"

namespace lumicrate::x11 {

/// The place in the top-level window does not change when that window is moved, so following a move needs no
/// query. One thread at a time. Operations throw PlatformError when the server is lost.
class VisibleFrameWatch {
 public:
    /// `connection` must outlive the watch. Its owner selects the window's structure and property events.
    VisibleFrameWatch(const Connection& connection, xcb_window_t window);

    /// Whether the event may have changed the place.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Queries the place after such an event, and for a top-level window of another id or size.
    void update(const StackedWindow& topLevel);
    /// The frame that WindowList reports, on the root window, as of the last update.
    PixelRect frameIn(const StackedWindow& topLevel) const;

 private:
    const Connection& connection_;
    WindowAtoms atoms_;
    xcb_window_t window_;
    bool stale_ = true;
    StackedWindow queried_;  ///< the top-level window at the last query
    Margins invisible_;      ///< the parts of the top-level window around the visible frame
};

}  // namespace lumicrate::x11
