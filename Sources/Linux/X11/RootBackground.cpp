#include "Linux/X11/RootBackground.h"

#include "Linux/X11/Monitors.h"
#include "Linux/X11/RootEvents.h"

#include <xcb/composite.h>

#include <iterator>
#include <string_view>

namespace lumicrate::x11 {

namespace {

/// Programs that set the background tell others with this property.
constexpr std::string_view propertyName = "_XROOTPMAP_ID";
constexpr std::uint32_t parentRelative = XCB_BACK_PIXMAP_PARENT_RELATIVE;

void createWindow(const Connection& connection, xcb_window_t window, xcb_window_t parent,
                  const PixelRect& frame) {
    const std::uint32_t values[] = {parentRelative, 1};
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, parent,
                      static_cast<std::int16_t>(frame.x), static_cast<std::int16_t>(frame.y),
                      static_cast<std::uint16_t>(frame.width), static_cast<std::uint16_t>(frame.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, std::data(values));
}

}  // namespace

RootBackground::RootBackground(const Connection& connection, const RenderFormats& formats)
    : connection_(connection),
      extent_(rootExtent(connection)),
      outside_(connection.generateId()),
      canvas_(connection.generateId()),
      pixmap_(connection.generateId()),
      picture_(connection.generateId()) {
    xcb_connection_t* const c = connection.get();
    const auto atom = connection.await(
        xcb_intern_atom_reply,
        xcb_intern_atom(c, 0, static_cast<std::uint16_t>(propertyName.size()), propertyName.data()));
    pixmapProperty_ = atom->atom;
    selectRootEvents(connection, XCB_EVENT_MASK_PROPERTY_CHANGE);
    const xcb_render_pictforminfo_t* const format = formats.find(connection.screen().root_visual);
    if (format == nullptr) Connection::throwRefused();

    constexpr int outside = -10;
    createWindow(connection, outside_, connection.root(), {outside, outside, 1, 1});
    createWindow(connection, canvas_, outside_, extent_.offsetBy(-outside, -outside));
    xcb_composite_redirect_window(c, canvas_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_map_window(c, canvas_);
    xcb_map_window(c, outside_);
    xcb_composite_name_window_pixmap(c, canvas_, pixmap_);
    xcb_render_create_picture(c, picture_, pixmap_, format->id, 0, nullptr);
}

RootBackground::~RootBackground() {
    xcb_render_free_picture(connection_.get(), picture_);
    xcb_free_pixmap(connection_.get(), pixmap_);
    xcb_destroy_window(connection_.get(), outside_);
}

bool RootBackground::hears(const xcb_generic_event_t& event) const {
    if (event.response_type != XCB_PROPERTY_NOTIFY) return false;
    const auto& notify = reinterpret_cast<const xcb_property_notify_event_t&>(event);
    return notify.window == connection_.root() && notify.atom == pixmapProperty_;
}

void RootBackground::paint(const PixelRect& onRoot) const {
    xcb_clear_area(connection_.get(), 0, canvas_, static_cast<std::int16_t>(onRoot.x),
                   static_cast<std::int16_t>(onRoot.y), static_cast<std::uint16_t>(onRoot.width),
                   static_cast<std::uint16_t>(onRoot.height));
}

}  // namespace lumicrate::x11
