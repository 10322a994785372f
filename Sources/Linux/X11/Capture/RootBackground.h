// SPDX-License-Identifier: GPL-3.0-or-later
// RootBackground: the pixels of the root window where no window is.
#pragma once

#include "Linux/X11/Capture/LayerCanvas.h"
#include "Linux/X11/Server/Connection.h"

#include <xcb/render.h>

#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// The background at the time of construction; when it changes, a new object is needed.
///
/// The background is an attribute of the root window that cannot be read. But a window can inherit it
/// (ParentRelative), and the server then paints it there like on the root window. That window has the root
/// window's size and position, but lies inside another one off the screen, where it is not visible; since it
/// is redirected (Composite), the server keeps all of its pixels.
///
/// A compositing manager paints the background itself, and may change the attribute. It uses the pixmap that
/// programs which set the background publish in a property.
class RootBackground {
 public:
    /// `connection` must outlive the background.
    RootBackground(const Connection& connection, const RenderFormats& formats, bool composited);
    ~RootBackground();
    RootBackground(const RootBackground&) = delete;
    RootBackground& operator=(const RootBackground&) = delete;

    /// Whether the event announces another background.
    bool handleEvent(const xcb_generic_event_t& event) const;
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
