#include "Tests/Stage/Scene/Canvas.h"

#include <stdexcept>

namespace lumicrate::stage {

namespace {

Area placeOf(const Canvas::Options& options, const xcb_screen_t* screen) {
    if (options.size) return {0, 0, options.size->first, options.size->second};
    return {0, 0, screen->width_in_pixels, screen->height_in_pixels};
}

}  // namespace

Canvas::Canvas(const Options& options) : Canvas(std::make_shared<XcbConnection>(""), options) {}

Canvas::Canvas(const std::shared_ptr<XcbConnection>& connection, const Options& options)
    : Surface(connection, placeOf(options, connection->screen()), options.title,
              options.size ? Kind::Ordinary : Kind::Unmanaged) {}

std::unique_ptr<Surface> Canvas::openWindow(const Area& area, const std::string& title) {
    return std::make_unique<Surface>(sharedConnection(), area, title, Kind::Unmanaged);
}

void Canvas::sync() {
    const XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    if (!reply) throw std::runtime_error("The display went away");
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection())}) {
        // Nothing is answered, but the queue must not grow.
    }
}

}  // namespace lumicrate::stage
