// LayerSet: the layers that a picture is put together from.
#pragma once

#include "Linux/X11/Capture/WindowLayer.h"

#include <chrono>
#include <map>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

class LayerSet {
 public:
    using Time = std::chrono::nanoseconds;

    /// `connection` must outlive the set. Throws PlatformError when the server cannot do it.
    explicit LayerSet(const Connection& connection);

    const RenderFormats& formats() const { return formats_; }
    /// Has a layer for each of these windows of the stack, and none else. Where pixels may be others than
    /// before, on the root window.
    std::vector<PixelRect> keep(const std::vector<StackedWindow>& windows, const WindowStack& stack,
                                Time now);
    /// Nothing for a window that has no layer, or none with pixels.
    const WindowLayer* find(xcb_window_t window) const;
    /// The server refused a window's pixels: they are to be taken anew.
    void renew(xcb_window_t window);

    /// Whether the event says that one of the windows was drawn on.
    bool hears(const xcb_generic_event_t& event);
    void requestDamage();
    /// On the root window.
    std::vector<PixelRect> collectDamage();

    /// Where layers are not to be trusted yet, on the root window, and when some of that will be.
    std::vector<PixelRect> untrusted(Time now) const;
    std::optional<Time> nextTrust(Time now) const;

 private:
    const Connection& connection_;
    RenderFormats formats_;
    std::map<xcb_window_t, WindowLayer> layers_;
};

}  // namespace lumicrate::x11
