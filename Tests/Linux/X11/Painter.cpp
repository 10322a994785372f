#include "Tests/Linux/X11/Painter.h"

#include "Tests/Stage/ChildProcess.h"

#include <xcb/randr.h>

#include <cstring>

namespace lumicrate::test {

namespace {

std::uint16_t wide(std::uint32_t colour, int shift) {
    return static_cast<std::uint16_t>((colour >> shift & 0xff) * 0x101);
}

xcb_rectangle_t rectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

}  // namespace

Painter::Painter(const std::string& displayName)
    : displayName_(displayName), connection_(displayName), context_(xcb_generate_id(connection())) {
    xcb_create_gc(connection(), context_, root(), 0, nullptr);
    const stage::XcbReply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(connection(), xcb_randr_query_version(connection(), 1, 5), nullptr));
}

void Painter::fill(const PixelRect& rect, std::uint32_t colour) {
    const xcb_rectangle_t area = rectangle(rect);
    xcb_change_gc(connection(), context_, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(connection(), root(), context_, 1, &area);
    xcb_flush(connection());
}

void Painter::setBackground(const x11::BgraPicture& tile) {
    const xcb_pixmap_t pixmap = xcb_generate_id(connection());
    const auto width = static_cast<std::uint16_t>(tile.width());
    const auto height = static_cast<std::uint16_t>(tile.height());
    xcb_create_pixmap(connection(), 24, pixmap, root(), width, height);
    xcb_put_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context_, width, height, 0, 0, 0, 24,
                  4U * width * height, reinterpret_cast<const std::uint8_t*>(tile.row(0)));
    xcb_change_window_attributes(connection(), root(), XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(connection(), 0, root(), 0, 0, 0, 0);
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, root(),
                        stage::internAtom(connection(), "_XROOTPMAP_ID"), XCB_ATOM_PIXMAP, 32, 1, &pixmap);
    sync();
}

void Painter::showSquareCursor(int size, std::uint32_t colour) {
    const auto side = static_cast<std::uint16_t>(size);
    const auto hot = static_cast<std::uint16_t>(size / 2);
    const xcb_pixmap_t mask = xcb_generate_id(connection());
    const xcb_gcontext_t context = xcb_generate_id(connection());
    const xcb_cursor_t cursor = xcb_generate_id(connection());
    const std::uint32_t set = 1;
    const xcb_rectangle_t all{0, 0, side, side};
    xcb_create_pixmap(connection(), 1, mask, root(), side, side);
    xcb_create_gc(connection(), context, mask, XCB_GC_FOREGROUND, &set);
    xcb_poly_fill_rectangle(connection(), mask, context, 1, &all);
    xcb_create_cursor(connection(), cursor, mask, mask, wide(colour, 16), wide(colour, 8), wide(colour, 0), 0,
                      0, 0, hot, hot);
    xcb_change_window_attributes(connection(), root(), XCB_CW_CURSOR, &cursor);
    xcb_free_gc(connection(), context);
    xcb_free_pixmap(connection(), mask);
    sync();
}

void Painter::movePointer(int x, int y) {
    xcb_warp_pointer(connection(), XCB_NONE, root(), 0, 0, 0, 0, static_cast<std::int16_t>(x),
                     static_cast<std::int16_t>(y));
    sync();
}

void Painter::setMonitor(const std::string& name, const PixelRect& frame) {
    // xcb's own call makes a message of the wrong length.
    stage::ChildProcess::Options options;
    options.environment = {{"DISPLAY", displayName_}};
    const std::string place = std::to_string(frame.width) + "/100x" + std::to_string(frame.height) + "/100+" +
                              std::to_string(frame.x) + "+" + std::to_string(frame.y);
    stage::ChildProcess xrandr({"xrandr", "--setmonitor", name, place, "none"}, options);
    xrandr.mustEnd(30);
}

void Painter::deleteMonitor(const std::string& name) {
    xcb_randr_delete_monitor(connection(), root(), stage::internAtom(connection(), name));
    sync();
}

void Painter::resizeScreen(int width, int height) {
    const stage::XcbReply<xcb_randr_get_screen_resources_reply_t> resources(
        xcb_randr_get_screen_resources_reply(connection(),
                                             xcb_randr_get_screen_resources(connection(), root()), nullptr));
    if (!resources) throw std::runtime_error("The X server has no outputs");
    const xcb_randr_crtc_t output = *xcb_randr_get_screen_resources_crtcs(resources.get());
    const stage::XcbReply<xcb_randr_set_crtc_config_reply_t> off(xcb_randr_set_crtc_config_reply(
        connection(),
        xcb_randr_set_crtc_config(connection(), output, XCB_CURRENT_TIME, resources->config_timestamp, 0, 0,
                                  XCB_NONE, XCB_RANDR_ROTATION_ROTATE_0, 0, nullptr),
        nullptr));
    xcb_randr_set_screen_size(connection(), root(), static_cast<std::uint16_t>(width),
                              static_cast<std::uint16_t>(height), 100, 100);
    sync();
}

void Painter::sync() {
    const stage::XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    if (!reply) throw std::runtime_error("The X server is gone");
}

x11::BgraPicture Painter::screen(const PixelRect& rect) {
    const xcb_rectangle_t area = rectangle(rect);
    const stage::XcbReply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(connection(),
                            xcb_get_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(), area.x, area.y,
                                          area.width, area.height, ~0U),
                            nullptr));
    if (!reply) throw std::runtime_error("The screen cannot be read");
    x11::BgraPicture picture(rect.width, rect.height);
    std::memcpy(picture.row(0), xcb_get_image_data(reply.get()), static_cast<std::size_t>(rect.area()) * 4);
    return picture;
}

}  // namespace lumicrate::test
