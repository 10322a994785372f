// RenderFormats: how the pixels of each visual are to be understood when the server draws them.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <xcb/render.h>

#include <map>

namespace lumicrate::x11 {

class RenderFormats {
 public:
    /// Throws PlatformError when the server cannot do it.
    explicit RenderFormats(const Connection& connection);

    /// Nothing for pixels that the server cannot draw.
    const xcb_render_pictforminfo_t* find(xcb_visualid_t visual) const;
    /// Whether a window's pixels are as ours: 8 bits each of blue, green and red in 32.
    bool isOurs(xcb_visualid_t visual) const;

 private:
    Reply<xcb_render_query_pict_formats_reply_t> reply_;
    std::map<xcb_visualid_t, const xcb_render_pictforminfo_t*> formats_;
};

}  // namespace lumicrate::x11
