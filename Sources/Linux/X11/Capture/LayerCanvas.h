// LayerCanvas: a picture that the server puts together from windows' pixels.
#pragma once

#include "Linux/X11/Capture/RenderFormats.h"
#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <xcb/render.h>
#include <xcb/xfixes.h>

namespace lumicrate::x11 {

/// What to draw, in the root window's coordinates.
struct CanvasSource {
    xcb_render_picture_t picture = XCB_NONE;
    int x = 0;  ///< where its top-left pixel belongs
    int y = 0;
    bool opaque = true;
    xcb_xfixes_region_t shape = XCB_NONE;  ///< nothing is drawn outside of this, if there is one
    int shapeX = 0;                        ///< where the shape's origin belongs
    int shapeY = 0;
};

/// Of a part of the root window, and in its coordinates. Requests only: nothing is waited for.
class LayerCanvas {
 public:
    /// `connection` must outlive the canvas. Throws PlatformError when the server cannot draw such pixels.
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
