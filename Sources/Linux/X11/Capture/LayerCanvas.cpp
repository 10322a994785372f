#include "Linux/X11/Capture/LayerCanvas.h"

namespace lumicrate::x11 {

LayerCanvas::LayerCanvas(const Connection& connection, const RenderFormats& formats, const PixelRect& extent)
    : connection_(connection),
      extent_(extent),
      pixmap_(connection.generateId()),
      picture_(connection.generateId()) {
    const xcb_screen_t& screen = connection.screen();
    const xcb_render_pictforminfo_t* const format = formats.find(screen.root_visual);
    if (format == nullptr) Connection::throwRefused();
    xcb_create_pixmap(connection.get(), screen.root_depth, pixmap_, screen.root,
                      static_cast<std::uint16_t>(extent.width), static_cast<std::uint16_t>(extent.height));
    xcb_render_create_picture(connection.get(), picture_, pixmap_, format->id, 0, nullptr);
}

LayerCanvas::~LayerCanvas() {
    xcb_render_free_picture(connection_.get(), picture_);
    xcb_free_pixmap(connection_.get(), pixmap_);
}

void LayerCanvas::blacken(const PixelRect& rect) const {
    const xcb_render_color_t black{0, 0, 0, 0xffff};
    const xcb_rectangle_t area{
        static_cast<std::int16_t>(rect.x - extent_.x), static_cast<std::int16_t>(rect.y - extent_.y),
        static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
    xcb_render_fill_rectangles(connection_.get(), XCB_RENDER_PICT_OP_SRC, picture_, black, 1, &area);
}

void LayerCanvas::draw(const CanvasSource& source, const PixelRect& rect) const {
    // Servers differ in whether they heed a clip of the source.
    if (source.shape != XCB_NONE) clip(source.shape, source.shapeX, source.shapeY);
    xcb_render_composite(connection_.get(), source.opaque ? XCB_RENDER_PICT_OP_SRC : XCB_RENDER_PICT_OP_OVER,
                         source.picture, XCB_NONE, picture_, static_cast<std::int16_t>(rect.x - source.x),
                         static_cast<std::int16_t>(rect.y - source.y), 0, 0,
                         static_cast<std::int16_t>(rect.x - extent_.x),
                         static_cast<std::int16_t>(rect.y - extent_.y),
                         static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height));
    if (source.shape != XCB_NONE) clip(XCB_NONE, 0, 0);
}

void LayerCanvas::clip(xcb_xfixes_region_t shape, int x, int y) const {
    xcb_xfixes_set_picture_clip_region(connection_.get(), picture_, shape,
                                       static_cast<std::int16_t>(x - extent_.x),
                                       static_cast<std::int16_t>(y - extent_.y));
}

}  // namespace lumicrate::x11
