// SPDX-License-Identifier: GPL-3.0-or-later
// LayerCanvas: a picture that the server composes from windows' pixels (Render).
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <xcb/render.h>
#include <xcb/xfixes.h>

#include <map>

namespace lumicrate::x11 {

/// The pixel format of each visual.
class RenderFormats {
 public:
    /// Throws PlatformError when the server lacks the Render extension.
    explicit RenderFormats(const Connection& connection);

    /// Null for a visual that the server cannot draw.
    const xcb_render_pictforminfo_t* find(xcb_visualid_t visual) const;
    /// Whether its pixels have 8 bits each of blue, green and red in 32, as BgraPicture.
    bool isBgr32(xcb_visualid_t visual) const;

 private:
    Reply<xcb_render_query_pict_formats_reply_t> reply_;
    std::map<xcb_visualid_t, const xcb_render_pictforminfo_t*> formats_;
};

/// What to draw, in the root window's coordinates.
struct CanvasSource {
    xcb_render_picture_t picture = XCB_NONE;
    int x = 0;  ///< the place of its top-left pixel
    int y = 0;
    bool opaque = true;
    xcb_xfixes_region_t shape = XCB_NONE;  ///< limits the drawing, if set
    int shapeX = 0;                        ///< the place of the shape's origin
    int shapeY = 0;
};

/// Covers a part of the root window, and uses its coordinates. Only sends requests; never waits for replies.
class LayerCanvas {
 public:
    /// `connection` must outlive the canvas. Throws PlatformError when the server cannot draw the
    /// root window's pixel format.
    LayerCanvas(const Connection& connection, const RenderFormats& formats, const PixelRect& extent);
    ~LayerCanvas();
    LayerCanvas(const LayerCanvas&) = delete;
    LayerCanvas& operator=(const LayerCanvas&) = delete;

    const PixelRect& extent() const { return extent_; }
    xcb_pixmap_t pixmap() const { return pixmap_; }

    void blacken(const PixelRect& rect) const;
    /// Draws the part of the source that lies in `rect`.
    void draw(const CanvasSource& source, const PixelRect& rect) const;

 private:
    void clip(xcb_xfixes_region_t shape, int x, int y) const;

    const Connection& connection_;
    PixelRect extent_;
    xcb_pixmap_t pixmap_;
    xcb_render_picture_t picture_;
};

}  // namespace lumicrate::x11
