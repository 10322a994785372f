// RootBackground: what the root window shows where no window is.
#pragma once

#include "Linux/X11/Connection.h"
#include "Linux/X11/RenderFormats.h"
#include "Support/Geometry.h"

#include <xcb/render.h>

namespace lumicrate::x11 {

/// The background is an attribute of the root window that cannot be asked for. But a window can take it over,
/// and the server paints it there as on the root window, pattern and all. That window is as large as the root
/// window and at its place, but lies inside another one off the screen, so nobody sees it; since the server
/// keeps its pixels apart, it has all of them nevertheless.
class RootBackground {
 public:
    /// `connection` must outlive the background.
    RootBackground(const Connection& connection, const RenderFormats& formats);
    ~RootBackground();
    RootBackground(const RootBackground&) = delete;
    RootBackground& operator=(const RootBackground&) = delete;

    /// Whether the event says that there may be another background.
    bool hears(const xcb_generic_event_t& event) const;
    /// Has the server paint that part as the background is now.
    void paint(const PixelRect& onRoot) const;
    /// In the root window's coordinates.
    xcb_render_picture_t picture() const { return picture_; }
    const PixelRect& extent() const { return extent_; }

 private:
    const Connection& connection_;
    PixelRect extent_;
    xcb_atom_t pixmapProperty_;
    xcb_window_t outside_;
    xcb_window_t canvas_;
    xcb_pixmap_t pixmap_;
    xcb_render_picture_t picture_;
};

}  // namespace lumicrate::x11
