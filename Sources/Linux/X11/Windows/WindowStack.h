// WindowStack: the top-level windows from bottom to top, as the server's events tell.
//
// Pure bookkeeping: whoever owns it feeds it with events, and with what events do not tell.
#pragma once

#include "Support/Geometry.h"

#include <xcb/xproto.h>

#include <chrono>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// What a window is made of. Events do not tell it: it is to be asked for.
struct WindowNature {
    bool known = false;
    xcb_visualid_t visual = XCB_NONE;
    bool inputOnly = false;  ///< has no pixels
    bool opaque = false;
    bool shaped = false;
    /// A shaped window's parts, relative to its frame. Empty for a shape that is too complex to be told, too.
    std::vector<PixelRect> parts{};
    bool operator==(const WindowNature&) const = default;
};

/// A top-level window.
struct StackedWindow {
    xcb_window_t id = XCB_NONE;
    PixelRect frame;  ///< on the root window, with the border; empty for a moment after reparenting
    int border = 0;
    bool viewable = false;
    std::chrono::nanoseconds mappedAt{};  ///< host clock; long ago for what was there before
    WindowNature nature;
    bool operator==(const StackedWindow&) const = default;

    bool hasPixels() const { return viewable && !nature.inputOnly; }
    /// Whether nothing below it is to be seen there.
    bool hides(const PixelRect& rect) const;
    /// Where it has pixels: at most, while its nature is not known.
    std::vector<PixelRect> occupied() const;
};

/// How a window was and is; not viewable for one that was not there, or is no longer.
struct StackChange {
    StackedWindow before;
    StackedWindow after;
};

class WindowStack {
 public:
    using Time = std::chrono::nanoseconds;

    explicit WindowStack(xcb_window_t root) : root_(root) {}

    /// Bottom to top.
    const std::vector<StackedWindow>& windows() const { return windows_; }
    /// Nothing for a window that is no top-level one.
    const StackedWindow* find(xcb_window_t window) const;

    /// Where other windows lie over a window, on the root window.
    std::vector<PixelRect> coverOf(const StackedWindow& window) const;

    /// Puts a window on top.
    void add(StackedWindow window);
    /// Takes in an event that came at that time; nothing when it changes no top-level window.
    std::optional<StackChange> take(const xcb_generic_event_t& event, Time now);
    /// Takes in what was asked for. The geometry counts only where events did not tell it.
    void learn(xcb_window_t window, const PixelRect& frame, int border, WindowNature nature);
    /// The window's nature is another one now.
    std::optional<StackChange> forgetNature(xcb_window_t window);

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
    std::optional<StackChange> show(xcb_window_t id, bool viewable, Time now);

    xcb_window_t root_;
    std::vector<StackedWindow> windows_;
};

}  // namespace lumicrate::x11
