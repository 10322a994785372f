#include "Linux/X11/Capture/RenderFormats.h"

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

bool RenderFormats::isOurs(xcb_visualid_t visual) const {
    const xcb_render_pictforminfo_t* const format = find(visual);
    if (format == nullptr || format->type != XCB_RENDER_PICT_TYPE_DIRECT) return false;
    const xcb_render_directformat_t& direct = format->direct;
    return (format->depth == 24 || format->depth == 32) && direct.red_shift == 16 &&
           direct.green_shift == 8 && direct.blue_shift == 0 && direct.red_mask == 0xff &&
           direct.green_mask == 0xff && direct.blue_mask == 0xff;
}

}  // namespace lumicrate::x11
