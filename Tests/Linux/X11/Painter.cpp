#include "Tests/Linux/X11/Painter.h"

#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/ChildProcess.h"

#include <xcb/randr.h>

#include <cstring>

namespace lumicrate::test {

namespace {

std::uint16_t wide(std::uint32_t colour, int shift) {
    return static_cast<std::uint16_t>((colour >> shift & 0xff) * 0x101);
}

}  // namespace

Painter::Painter(const std::string& displayName)
    : displayName_(displayName), connection_(displayName), context_(connection_.generateId()) {
    xcb_create_gc(xcb(), context_, root(), 0, nullptr);
    connection_.await(xcb_randr_query_version_reply, xcb_randr_query_version(xcb(), 1, 5));
}

void Painter::fill(const PixelRect& rect, std::uint32_t colour) {
    const xcb_rectangle_t area = xcbRectangle(rect);
    xcb_change_gc(xcb(), context_, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(xcb(), root(), context_, 1, &area);
    xcb_flush(xcb());
}

void Painter::setBackground(const x11::BgraPicture& tile) {
    const xcb_pixmap_t pixmap = connection_.generateId();
    const auto width = static_cast<std::uint16_t>(tile.width());
    const auto height = static_cast<std::uint16_t>(tile.height());
    xcb_create_pixmap(xcb(), 24, pixmap, root(), width, height);
    xcb_put_image(xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context_, width, height, 0, 0, 0, 24,
                  4U * width * height, reinterpret_cast<const std::uint8_t*>(tile.row(0)));
    xcb_change_window_attributes(xcb(), root(), XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(xcb(), 0, root(), 0, 0, 0, 0);
    xcb_change_property(xcb(), XCB_PROP_MODE_REPLACE, root(), connection_.internAtom("_XROOTPMAP_ID"),
                        XCB_ATOM_PIXMAP, 32, 1, &pixmap);
    sync();
}

void Painter::showSquareCursor(int size, std::uint32_t colour) {
    const auto side = static_cast<std::uint16_t>(size);
    const auto hot = static_cast<std::uint16_t>(size / 2);
    const xcb_pixmap_t mask = connection_.generateId();
    const xcb_gcontext_t context = connection_.generateId();
    const xcb_cursor_t cursor = connection_.generateId();
    const std::uint32_t set = 1;
    const xcb_rectangle_t all{0, 0, side, side};
    xcb_create_pixmap(xcb(), 1, mask, root(), side, side);
    xcb_create_gc(xcb(), context, mask, XCB_GC_FOREGROUND, &set);
    xcb_poly_fill_rectangle(xcb(), mask, context, 1, &all);
    xcb_create_cursor(xcb(), cursor, mask, mask, wide(colour, 16), wide(colour, 8), wide(colour, 0), 0, 0, 0,
                      hot, hot);
    xcb_change_window_attributes(xcb(), root(), XCB_CW_CURSOR, &cursor);
    xcb_free_gc(xcb(), context);
    xcb_free_pixmap(xcb(), mask);
    sync();
}

void Painter::movePointer(int x, int y) {
    xcb_warp_pointer(xcb(), XCB_NONE, root(), 0, 0, 0, 0, static_cast<std::int16_t>(x),
                     static_cast<std::int16_t>(y));
    sync();
}

void Painter::setMonitor(const std::string& name, const PixelRect& frame) {
    // xcb_randr_set_monitor sends a message of the wrong length.
    const std::string place = std::to_string(frame.width) + "/100x" + std::to_string(frame.height) + "/100+" +
                              std::to_string(frame.x) + "+" + std::to_string(frame.y);
    stage::runProgram({"xrandr", "--setmonitor", name, place, "none"}, {{"DISPLAY", displayName_}});
}

void Painter::deleteMonitor(const std::string& name) {
    xcb_randr_delete_monitor(xcb(), root(), connection_.internAtom(name));
    sync();
}

void Painter::resizeScreen(int width, int height) {
    const auto resources = connection_.await(xcb_randr_get_screen_resources_reply,
                                             xcb_randr_get_screen_resources(xcb(), root()));
    const xcb_randr_crtc_t output = *xcb_randr_get_screen_resources_crtcs(resources.get());
    connection_.await(xcb_randr_set_crtc_config_reply,
                      xcb_randr_set_crtc_config(xcb(), output, XCB_CURRENT_TIME, resources->config_timestamp,
                                                0, 0, XCB_NONE, XCB_RANDR_ROTATION_ROTATE_0, 0, nullptr));
    xcb_randr_set_screen_size(xcb(), root(), static_cast<std::uint16_t>(width),
                              static_cast<std::uint16_t>(height), 100, 100);
    sync();
}

x11::BgraPicture Painter::screen(const PixelRect& rect) {
    const xcb_rectangle_t area = xcbRectangle(rect);
    const auto reply =
        connection_.await(xcb_get_image_reply, xcb_get_image(xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(), area.x,
                                                             area.y, area.width, area.height, ~0U));
    x11::BgraPicture picture(rect.width, rect.height);
    std::memcpy(picture.row(0), xcb_get_image_data(reply.get()), static_cast<std::size_t>(rect.area()) * 4);
    return picture;
}

}  // namespace lumicrate::test
