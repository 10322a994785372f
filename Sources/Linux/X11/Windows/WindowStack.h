// SPDX-License-Identifier: GPL-3.0-or-later
// WindowStack: the top-level windows from bottom to top. StackWatch: keeps one equal to the server's.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <xcb/shape.h>
#include <xcb/xproto.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// Attributes of a window that events do not contain; they have to be queried.
struct WindowAttributes {
    bool known = false;
    xcb_visualid_t visual = XCB_NONE;
    bool inputOnly = false;  ///< has no pixels
    bool opaque = false;
    bool shaped = false;
    /// The rectangles of a shaped window, relative to its frame. Also empty for a shape with too many.
    std::vector<PixelRect> parts{};
    bool operator==(const WindowAttributes&) const = default;
};

/// A top-level window.
struct StackedWindow {
    xcb_window_t id = XCB_NONE;
    PixelRect frame;  ///< on the root window, including the border; empty for a moment after reparenting
    int border = 0;
    bool viewable = false;
    std::chrono::nanoseconds
        mappedAt{};  ///< host clock; 0 for windows that were mapped before the watch began
    WindowAttributes attributes;
    bool operator==(const StackedWindow&) const = default;

    bool hasPixels() const { return viewable && !attributes.inputOnly; }
    /// Whether nothing below it is visible in the rectangle.
    bool hides(const PixelRect& rect) const;
    /// Where it has pixels; the whole frame while its attributes are unknown.
    std::vector<PixelRect> occupied() const;
};

/// A window before and after a change; a window that did not exist, or no longer exists, is not viewable.
struct StackChange {
    StackedWindow before;
    StackedWindow after;
};

/// Pure bookkeeping: its owner passes in the events, and the attributes that events do not contain.
class WindowStack {
 public:
    using Time = std::chrono::nanoseconds;

    explicit WindowStack(xcb_window_t root) : root_(root) {}

    /// Bottom to top.
    const std::vector<StackedWindow>& windows() const { return windows_; }
    /// Null for a window that is not a top-level one.
    const StackedWindow* find(xcb_window_t window) const;

    /// Where other windows cover a window, on the root window.
    std::vector<PixelRect> coverOf(const StackedWindow& window) const;

    /// Adds a window on top.
    void add(StackedWindow window);
    /// Applies an event that arrived at time `now`; nothing when it changes no top-level window.
    std::optional<StackChange> apply(const xcb_generic_event_t& event, Time now);
    /// Sets what was queried. The geometry is used only where no event contained it.
    void setAttributes(xcb_window_t window, const PixelRect& frame, int border, WindowAttributes attributes);
    /// Marks a window's attributes as unknown because they changed.
    std::optional<StackChange> forgetAttributes(xcb_window_t window);

 private:
    using Place = std::vector<StackedWindow>::iterator;

    Place placeOf(xcb_window_t window);
    Place placeAbove(xcb_window_t sibling);
    std::optional<StackChange> replace(xcb_window_t id, const StackedWindow& now);
    std::optional<StackChange> remove(xcb_window_t id);
    std::optional<StackChange> create(const xcb_create_notify_event_t& event);
    std::optional<StackChange> configure(const xcb_configure_notify_event_t& event);
    std::optional<StackChange> circulate(const xcb_circulate_notify_event_t& event);
    std::optional<StackChange> reparent(const xcb_reparent_notify_event_t& event);
    std::optional<StackChange> move(const xcb_gravity_notify_event_t& event);
    std::optional<StackChange> setViewable(xcb_window_t id, bool viewable, Time now);

    xcb_window_t root_;
    std::vector<StackedWindow> windows_;
};

/// The server's own windows (a compositing manager's overlay, a screen saver's) are left out. One thread at a
/// time.
class StackWatch {
 public:
    /// `connection` must outlive the watch. Throws PlatformError when the server lacks the Shape extension or
    /// is lost.
    explicit StackWatch(const Connection& connection);

    const WindowStack& stack() const { return stack_; }
    /// Applies an event that arrived at time `now`; nothing when it changes no top-level window.
    std::optional<StackChange> handleEvent(const xcb_generic_event_t& event, std::chrono::nanoseconds now);
    /// Queries the attributes that events do not contain, for viewable windows where they are unknown.
    /// Without such windows there is no round trip.
    void queryUnknown();

 private:
    struct Query {
        xcb_window_t window;
        xcb_get_geometry_cookie_t geometry;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_shape_query_extents_cookie_t shape;
    };

    bool belongsToServer(xcb_window_t window) const;
    void readStack();
    Query sendQuery(xcb_window_t window) const;
    void readReply(const Query& query, StackedWindow& window) const;
    std::vector<PixelRect> shapeParts(xcb_window_t window, int border) const;

    const Connection& connection_;
    std::uint8_t shapeEvent_;
    std::uint32_t stackRequest_ = 0;  ///< sequence number of the request that read the stack
    WindowStack stack_;
};

}  // namespace lumicrate::x11
