// SPDX-License-Identifier: GPL-3.0-or-later
// StackWatch: keeps a WindowStack equal to the server's.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowStack.h"

#include <xcb/shape.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

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
