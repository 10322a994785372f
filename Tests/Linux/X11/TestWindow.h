// SPDX-License-Identifier: GPL-3.0-or-later
// TestWindow: an application's window or an unmanaged panel, and requests to the window manager.
// ScreenPainter: a program that draws on the screen.
#pragma once

#include "Linux/X11/PixelConversion/BgraPicture.h"
#include "Linux/X11/Server/Connection.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Xcb.h"

#include <xcb/randr.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace lumicrate::test {

inline xcb_rectangle_t xcbRectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

/// Paints a window with a picture. With `asBackground`, the server also paints what is uncovered later;
/// returns the background's pixmap.
xcb_pixmap_t paintWindow(const x11::Connection& by, xcb_window_t window, const x11::BgraPicture& picture,
                         bool asBackground = true);

/// One plain colour, painted by the server. Destroyed with the object.
class TestWindow {
 public:
    struct Look {
        PixelRect frame;                  ///< on the root window; a window manager may decide otherwise
        std::uint32_t colour = 0xffffff;  ///< of a translucent window: opacity in the highest byte,
                                          ///< premultiplied colours
        bool translucent = false;         ///< 32 bits deep
        bool managed = false;             ///< by a window manager, if there is one
        std::string title{};              ///< UTF-8
        int borderWidth = 0;
    };

    /// Uses a connection of its own, like another program. Mapped at once, on top.
    TestWindow(const std::string& displayName, const Look& look);

    xcb_connection_t* connection() const { return connection_.get(); }
    xcb_window_t id() const { return window_; }

    void place(const PixelRect& frame) {
        configure(
            XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
            {frame.x, frame.y, frame.width, frame.height});
    }
    void move(int x, int y) { configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {x, y}); }
    void raise() { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE}); }
    void lower() { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_BELOW}); }
    void map() { sync(xcb_map_window(connection(), window_)); }
    void unmap() { sync(xcb_unmap_window(connection(), window_)); }
    void destroy() { sync(xcb_destroy_window(connection(), window_)); }
    /// The whole window in another colour, or with a picture.
    void fill(std::uint32_t colour);
    void fill(const x11::BgraPicture& picture) { paintWindow(connection_, window_, picture); }
    /// A part of it, in its own coordinates.
    void fill(const PixelRect& rect, std::uint32_t colour);
    /// The server does not paint what is uncovered later.
    void draw(const x11::BgraPicture& picture);
    /// Waits until a part of the window was uncovered after draw(); false when the server is gone.
    bool waitUntilExposed();
    /// Shapes the window, in its own coordinates.
    void shape(const std::vector<PixelRect>& parts);
    /// Waits until the server has carried out all requests.
    void sync(xcb_void_cookie_t /*last*/ = {}) { connection_.sync(); }

 private:
    void configure(std::uint16_t mask, const std::vector<int>& values) {
        const std::vector<std::uint32_t> words(values.begin(), values.end());
        sync(xcb_configure_window(connection(), window_, mask, words.data()));
    }

    x11::Connection connection_;
    xcb_window_t window_;
};

using stage::eventually;

inline std::vector<std::uint32_t> cardinals(std::initializer_list<std::uint32_t> values) {
    return values;
}

/// Uses the connection of `by`; texts become 8-bit properties, numbers 32-bit ones.
template <class Values>
void setProperty(TestWindow& by, std::uint32_t window, const char* name, const char* type,
                 const Values& values) {
    constexpr std::uint8_t format = 8 * sizeof(typename Values::value_type);
    by.sync(xcb_change_property(by.connection(), XCB_PROP_MODE_REPLACE, window,
                                stage::internAtom(by.connection(), name),
                                stage::internAtom(by.connection(), type), format,
                                static_cast<std::uint32_t>(values.size()), values.data()));
}

inline std::uint32_t rootOf(const TestWindow& window) {
    return xcb_setup_roots_iterator(xcb_get_setup(window.connection())).data->root;
}

/// Another window of the same program.
inline std::uint32_t makeWindow(TestWindow& by, std::uint32_t parent, std::uint16_t windowClass,
                                bool mapped = true) {
    const std::uint32_t id = xcb_generate_id(by.connection());
    xcb_create_window(by.connection(), XCB_COPY_FROM_PARENT, id, parent, 0, 0, 100, 60, 0, windowClass,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    if (mapped) xcb_map_window(by.connection(), id);
    by.sync();
    return id;
}

/// Sends a request to the window manager, as a task bar does.
void ask(TestWindow& window, const char* request, std::initializer_list<std::uint32_t> data);

inline void minimize(TestWindow& window) {
    constexpr std::uint32_t iconic = 3;
    ask(window, "WM_CHANGE_STATE", {iconic});
}

inline void raise(TestWindow& window) {
    constexpr std::uint32_t byTaskBar = 2;
    ask(window, "_NET_RESTACK_WINDOW", {byTaskBar, XCB_NONE, XCB_STACK_MODE_ABOVE});
}

/// A program that draws on the screen, changes monitors and pointer, and reads the screen.
class ScreenPainter {
 public:
    explicit ScreenPainter(const std::string& displayName)
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
