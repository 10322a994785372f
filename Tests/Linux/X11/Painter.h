// Painter: a program that draws on the screen, changes monitors and pointer, and reads the screen.
#pragma once

#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/ChildProcess.h"

#include <xcb/randr.h>

#include <cstring>
#include <string>

namespace lumicrate::test {

class Painter {
 public:
    explicit Painter(const std::string& displayName)
        : displayName_(displayName), connection_(displayName), context_(connection_.generateId()) {
        xcb_create_gc(xcb(), context_, root(), 0, nullptr);
        connection_.await(xcb_randr_query_version_reply, xcb_randr_query_version(xcb(), 1, 5));
    }

    void fill(const PixelRect& rect, std::uint32_t colour) {
        const xcb_rectangle_t area = xcbRectangle(rect);
        xcb_change_gc(xcb(), context_, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(xcb(), root(), context_, 1, &area);
        xcb_flush(xcb());
    }
    /// Tiles the root window with that picture, and publishes it as wallpaper programs do.
    void setBackground(const x11::BgraPicture& tile) {
        const xcb_pixmap_t pixmap = paintWindow(connection_, root(), tile);
        xcb_change_property(xcb(), XCB_PROP_MODE_REPLACE, root(), connection_.internAtom("_XROOTPMAP_ID"),
                            XCB_ATOM_PIXMAP, 32, 1, &pixmap);
        sync();
    }
    /// Makes the cursor a plain square of that many pixels, with its hot spot in the middle.
    void showSquareCursor(std::uint16_t side, std::uint32_t colour) {
        const xcb_pixmap_t mask = connection_.generateId();
        const xcb_gcontext_t context = connection_.generateId();
        const xcb_cursor_t cursor = connection_.generateId();
        const std::uint32_t set = 1;
        const xcb_rectangle_t all{0, 0, side, side};
        const auto wide = [=](int shift) { return std::uint16_t((colour >> shift & 0xff) * 0x101); };
        const auto hot = std::uint16_t(side / 2);
        xcb_create_pixmap(xcb(), 1, mask, root(), side, side);
        xcb_create_gc(xcb(), context, mask, XCB_GC_FOREGROUND, &set);
        xcb_poly_fill_rectangle(xcb(), mask, context, 1, &all);
        xcb_create_cursor(xcb(), cursor, mask, mask, wide(16), wide(8), wide(0), 0, 0, 0, hot, hot);
        xcb_change_window_attributes(xcb(), root(), XCB_CW_CURSOR, &cursor);
        sync();
    }
    void movePointer(std::int16_t x, std::int16_t y) {
        xcb_warp_pointer(xcb(), XCB_NONE, root(), 0, 0, 0, 0, x, y);
        sync();
    }
    void setMonitor(const std::string& name, const PixelRect& frame) {
        // xcb_randr_set_monitor sends a message of the wrong length.
        const std::string place = std::to_string(frame.width) + "/100x" + std::to_string(frame.height) +
                                  "/100+" + std::to_string(frame.x) + "+" + std::to_string(frame.y);
        stage::runProgram({"xrandr", "--setmonitor", name, place, "none"}, {{"DISPLAY", displayName_}});
    }
    void deleteMonitor(const std::string& name) {
        xcb_randr_delete_monitor(xcb(), root(), connection_.internAtom(name));
        sync();
    }
    /// Disables the server's output and gives the root window another size, at most the initial one.
    void resizeScreen(std::uint16_t width, std::uint16_t height) {
        const auto resources = connection_.await(xcb_randr_get_screen_resources_reply,
                                                 xcb_randr_get_screen_resources(xcb(), root()));
        const xcb_randr_crtc_t output = *xcb_randr_get_screen_resources_crtcs(resources.get());
        connection_.await(
            xcb_randr_set_crtc_config_reply,
            xcb_randr_set_crtc_config(xcb(), output, XCB_CURRENT_TIME, resources->config_timestamp, 0, 0,
                                      XCB_NONE, XCB_RANDR_ROTATION_ROTATE_0, 0, nullptr));
        xcb_randr_set_screen_size(xcb(), root(), width, height, 100, 100);
        sync();
    }
    /// Waits until the server has carried out all requests.
    void sync() { connection_.sync(); }
    /// What the screen shows, without the cursor.
    x11::BgraPicture screen(const PixelRect& rect) {
        const xcb_rectangle_t area = xcbRectangle(rect);
        const auto reply = connection_.await(
            xcb_get_image_reply, xcb_get_image(xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(), area.x, area.y,
                                               area.width, area.height, ~0U));
        x11::BgraPicture picture(rect.width, rect.height);
        std::memcpy(picture.row(0), xcb_get_image_data(reply.get()),
                    static_cast<std::size_t>(rect.area()) * 4);
        return picture;
    }

 private:
    xcb_connection_t* xcb() const { return connection_.get(); }
    xcb_window_t root() const { return connection_.root(); }

    std::string displayName_;
    x11::Connection connection_;
    xcb_gcontext_t context_;
};

}  // namespace lumicrate::test
