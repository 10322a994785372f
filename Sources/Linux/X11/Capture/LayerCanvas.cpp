// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/LayerCanvas.h"

#include <algorithm>

namespace lumicrate::x11 {

RenderFormats::RenderFormats(const Connection& connection) {
    connection.extension(xcb_render_id, "RENDER");
    connection.await(xcb_render_query_version_reply, xcb_render_query_version(connection.get(), 0, 11));
    reply_ = connection.await(xcb_render_query_pict_formats_reply,
                              xcb_render_query_pict_formats(connection.get()));
    const xcb_render_pictforminfo_t* const first = xcb_render_query_pict_formats_formats(reply_.get());
    const xcb_render_pictforminfo_t* const last =
        first + xcb_render_query_pict_formats_formats_length(reply_.get());
    for (auto screen = xcb_render_query_pict_formats_screens_iterator(reply_.get()); screen.rem > 0;
         xcb_render_pictscreen_next(&screen)) {
        for (auto depth = xcb_render_pictscreen_depths_iterator(screen.data); depth.rem > 0;
             xcb_render_pictdepth_next(&depth)) {
            for (auto visual = xcb_render_pictdepth_visuals_iterator(depth.data); visual.rem > 0;
                 xcb_render_pictvisual_next(&visual)) {
                const auto format = std::find_if(
                    first, last, [&](const auto& each) { return each.id == visual.data->format; });
                if (format != last) formats_[visual.data->visual] = format;
            }
        }
    }
}

const xcb_render_pictforminfo_t* RenderFormats::find(xcb_visualid_t visual) const {
    const auto found = formats_.find(visual);
    return found == formats_.end() ? nullptr : found->second;
}

bool RenderFormats::isBgr32(xcb_visualid_t visual) const {
    const xcb_render_pictforminfo_t* const format = find(visual);
    if (format == nullptr || format->type != XCB_RENDER_PICT_TYPE_DIRECT) return false;
    const xcb_render_directformat_t& direct = format->direct;
    return (format->depth == 24 || format->depth == 32) && direct.red_shift == 16 &&
           direct.green_shift == 8 && direct.blue_shift == 0 && direct.red_mask == 0xff &&
           direct.green_mask == 0xff && direct.blue_mask == 0xff;
}

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
    // The clip is set on the target: some servers ignore a clip of the source.
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
