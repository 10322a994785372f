// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/RootBackground.h"

#include "Linux/X11/Screens/Displays.h"
#include "Support/Geometry.h"

#include <xcb/composite.h>

#include <algorithm>
#include <iterator>

namespace lumicrate::x11 {

namespace {

void createWindow(const Connection& connection, xcb_window_t window, xcb_window_t parent,
                  const PixelRect& frame) {
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_PARENT_RELATIVE, 1};
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, parent,
                      static_cast<std::int16_t>(frame.x), static_cast<std::int16_t>(frame.y),
                      static_cast<std::uint16_t>(frame.width), static_cast<std::uint16_t>(frame.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, std::data(values));
}

}  // namespace

RootBackground::RootBackground(const Connection& connection, const RenderFormats& formats, bool composited)
    : connection_(connection),
      // The properties that publish the background, of newer and older programs.
      properties_(connection.internAtoms({"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"})),
      picture_(connection.generateId()) {
    connection.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
    const xcb_render_pictforminfo_t* const format = formats.find(connection.screen().root_visual);
    if (format == nullptr) Connection::throwRefused();

    const auto known = composited ? published() : std::nullopt;
    const xcb_pixmap_t pixmap = known ? *known : paintedByServer();
    const std::uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
    xcb_render_create_picture(connection.get(), picture_, pixmap, format->id, XCB_RENDER_CP_REPEAT, &repeat);
    // The picture keeps the pixels.
    if (!known) xcb_free_pixmap(connection.get(), pixmap);
}

RootBackground::~RootBackground() {
    xcb_render_free_picture(connection_.get(), picture_);
    if (outside_ != XCB_NONE) xcb_destroy_window(connection_.get(), outside_);
}

std::optional<xcb_pixmap_t> RootBackground::published() const {
    for (const xcb_atom_t property : properties_) {
        const Property value = PropertyQuery(connection_, connection_.root(), property).collect();
        if (value.type() != XCB_ATOM_PIXMAP || value.numbers().empty()) continue;
        const xcb_pixmap_t pixmap = value.numbers().front();
        // The pixmap is gone when the program that published it has ended.
        const auto geometry =
            connection_.tryAwait(xcb_get_geometry_reply, xcb_get_geometry(connection_.get(), pixmap));
        if (geometry && geometry->depth == connection_.screen().root_depth) return pixmap;
    }
    return std::nullopt;
}

xcb_pixmap_t RootBackground::paintedByServer() {
    constexpr int outside = -10;
    outside_ = connection_.generateId();
    const xcb_window_t canvas = connection_.generateId();
    const xcb_pixmap_t pixmap = connection_.generateId();
    createWindow(connection_, outside_, connection_.root(), {outside, outside, 1, 1});
    createWindow(connection_, canvas, outside_, rootExtent(connection_).offsetBy(-outside, -outside));
    xcb_composite_redirect_window(connection_.get(), canvas, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_map_window(connection_.get(), canvas);
    xcb_map_window(connection_.get(), outside_);
    xcb_composite_name_window_pixmap(connection_.get(), canvas, pixmap);
    return pixmap;
}

bool RootBackground::handleEvent(const xcb_generic_event_t& event) const {
    if (event.response_type != XCB_PROPERTY_NOTIFY) return false;
    const auto& notify = eventAs<xcb_property_notify_event_t>(event);
    return notify.window == connection_.root() &&
           std::find(properties_.begin(), properties_.end(), notify.atom) != properties_.end();
}

}  // namespace lumicrate::x11
