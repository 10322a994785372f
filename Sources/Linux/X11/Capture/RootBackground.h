// RootBackground: what the root window shows where no window is.
#pragma once

#include "Linux/X11/Capture/RenderFormats.h"
#include "Linux/X11/Server/Connection.h"

#include <xcb/render.h>

#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// The background as it is when the object is made; for another one another object is needed.
///
/// It is an attribute of the root window that cannot be asked for. But a window can take it over, and the
/// server paints it there as on the root window, pattern and all. That window is as large as the root window
/// and at its place, but lies inside another one off the screen, so nobody sees it; since the server keeps
/// its pixels apart, it has all of them nevertheless.
///
/// A compositing manager paints the background itself and need not leave the attribute as it was. It takes
/// the pixmap that programs which set the background publish.
class RootBackground {
 public:
    /// `connection` must outlive the background.
    RootBackground(const Connection& connection, const RenderFormats& formats, bool composited);
    ~RootBackground();
    RootBackground(const RootBackground&) = delete;
    RootBackground& operator=(const RootBackground&) = delete;

    /// Whether the event says that there is another background.
    bool hears(const xcb_generic_event_t& event) const;
    /// In the root window's coordinates.
    xcb_render_picture_t picture() const { return picture_; }

 private:
    std::optional<xcb_pixmap_t> published() const;
    xcb_pixmap_t paintedByServer();

    const Connection& connection_;
    std::vector<xcb_atom_t> properties_;
    xcb_window_t outside_ = XCB_NONE;
    xcb_render_picture_t picture_;
};

}  // namespace lumicrate::x11
