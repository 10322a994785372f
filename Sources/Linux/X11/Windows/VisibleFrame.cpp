// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/VisibleFrame.h"

#include "Linux/X11/Windows/WindowOrder.h"

#include <utility>

namespace lumicrate::x11 {

VisibleFrameWatch::VisibleFrameWatch(const Connection& connection, xcb_window_t window)
    : connection_(connection), atoms_(connection), window_(window) {}

bool VisibleFrameWatch::handleEvent(const xcb_generic_event_t& event) {
    bool changed = false;
    // A window manager also sends events about moves, which do not matter. Their extra bit makes them fall
    // through here.
    if (event.response_type == XCB_PROPERTY_NOTIFY) {
        const auto& property = eventAs<xcb_property_notify_event_t>(event);
        changed = property.window == window_ &&
                  (property.atom == atoms_.netFrameExtents || property.atom == atoms_.gtkFrameExtents);
    } else if (event.response_type == XCB_CONFIGURE_NOTIFY) {
        // The window manager has placed it differently in its frame.
        changed = eventAs<xcb_configure_notify_event_t>(event).event == window_ && queried_.id != window_;
    }
    stale_ = stale_ || changed;
    return changed;
}

void VisibleFrameWatch::update(const StackedWindow& topLevel) {
    const StackedWindow before = std::exchange(queried_, topLevel);
    if (!std::exchange(stale_, false) && before.id == topLevel.id &&
        before.frame.width == topLevel.frame.width && before.frame.height == topLevel.frame.height) {
        return;
    }
    const bool hasManager = readManagedWindows(connection_, atoms_).known;
    const auto geometry =
        WindowFrameQuery(connection_, atoms_, {window_, topLevel.id, false}, hasManager).collectGeometry();
    // A window that is gone keeps its place.
    if (!geometry) return;
    const PixelRect visible = visibleFrame(*geometry);
    const PixelRect& outline = geometry->outline;
    invisible_ = {visible.x - outline.x, outline.maxX() - visible.maxX(), visible.y - outline.y,
                  outline.maxY() - visible.maxY()};
}

PixelRect VisibleFrameWatch::frameIn(const StackedWindow& topLevel) const {
    const PixelRect visible = narrowed(topLevel.frame, invisible_);
    return visible.isEmpty() ? topLevel.frame : visible;
}

}  // namespace lumicrate::x11
