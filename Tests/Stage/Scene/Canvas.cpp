#include "Tests/Stage/Scene/Canvas.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace lumicrate::stage {

namespace {

std::int16_t coordinate(int value) {
    return static_cast<std::int16_t>(value);
}
std::uint16_t length(int value) {
    return static_cast<std::uint16_t>(value);
}

}  // namespace

Canvas::Canvas(const Options& options) : connection_("") {
    const auto* screen = connection_.screen();
    if (screen->root_depth != 24) throw std::runtime_error("Scenes are played on displays of depth 24 only");
    width_ = options.size ? options.size->first : screen->width_in_pixels;
    height_ = options.size ? options.size->second : screen->height_in_pixels;
    createWindow(options);
    context_ = xcb_generate_id(connection_.get());
    // Copies that cannot be had from a covered place are not to send an event each.
    const std::uint32_t noExposures = 0;
    xcb_create_gc(connection_.get(), context_, window_, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    xcb_map_window(connection_.get(), window_);
    xcb_flush(connection_.get());
    awaitExposure();
}

void Canvas::createWindow(const Options& options) {
    auto* connection = connection_.get();
    const auto* screen = connection_.screen();
    window_ = xcb_generate_id(connection);
    const std::uint32_t values[] = {screen->black_pixel, options.size ? 0U : 1U, XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, length(width_),
                      length(height_), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(options.title.size()), options.title.data());
    static constexpr char name[] = "lumicrate-scene\0Lumicrate-scene";  // instance and class, as a pair
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        sizeof name, name);
}

void Canvas::awaitExposure() {
    while (const XcbReply<xcb_generic_event_t> event{xcb_wait_for_event(connection_.get())}) {
        if ((event->response_type & 0x7f) == XCB_EXPOSE) return;
    }
    throw std::runtime_error("The display went away");
}

std::unique_ptr<Canvas::Stored> Canvas::store(const Image& image) {
    const auto pixmap = xcb_generate_id(connection_.get());
    xcb_create_pixmap(connection_.get(), 24, pixmap, window_, length(image.width()), length(image.height()));
    auto stored = std::make_unique<Stored>(connection_.get(), pixmap);
    putInto(pixmap, image, {0, 0, image.width(), image.height()}, 0, 0);
    return stored;
}

void Canvas::setBackground(const Stored& image) {
    const std::uint32_t pixmap = image.id();
    xcb_change_window_attributes(connection_.get(), window_, XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(connection_.get(), 0, window_, 0, 0, 0, 0);
}

void Canvas::copy(const Stored& image, const Area& from, int x, int y) {
    xcb_copy_area(connection_.get(), image.id(), window_, context_, coordinate(from.x), coordinate(from.y),
                  coordinate(x), coordinate(y), length(from.width), length(from.height));
}

void Canvas::put(const Image& image, const Area& from, int x, int y) {
    putInto(window_, image, from, x, y);
}

void Canvas::putInto(xcb_drawable_t target, const Image& image, const Area& from, int x, int y) {
    // A request has a longest length, so a large picture goes over in strips.
    const std::size_t longest = std::size_t{xcb_get_maximum_request_length(connection_.get())} * 4 - 64;
    const std::size_t rowBytes = static_cast<std::size_t>(from.width) * 4;
    const int rows = std::min(from.height, static_cast<int>(std::min<std::size_t>(longest / rowBytes, 256)));
    std::vector<std::uint8_t> strip(rowBytes * static_cast<std::size_t>(std::max(rows, 1)));
    for (int top = 0; top < from.height; top += rows) {
        const int count = std::min(rows, from.height - top);
        for (int row = 0; row < count; ++row) {
            std::memcpy(&strip[rowBytes * static_cast<std::size_t>(row)],
                        image.row(from.y + top + row) + from.x, rowBytes);
        }
        xcb_put_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, target, context_, length(from.width),
                      length(count), coordinate(x), coordinate(y + top), 0, 24,
                      static_cast<std::uint32_t>(rowBytes * static_cast<std::size_t>(count)), strip.data());
    }
}

void Canvas::fill(const Area& area, Color color) {
    xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &color);
    const xcb_rectangle_t rectangle{coordinate(area.x), coordinate(area.y), length(area.width),
                                    length(area.height)};
    xcb_poly_fill_rectangle(connection_.get(), window_, context_, 1, &rectangle);
}

void Canvas::sync() {
    const XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
    if (!reply) throw std::runtime_error("The display went away");
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        // Nothing is answered, but the queue must not grow.
    }
}

}  // namespace lumicrate::stage
