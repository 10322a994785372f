// SPDX-License-Identifier: GPL-3.0-or-later
// TestWindow: an application's window or an unmanaged panel, and requests to the window manager.
// ScreenPainter: a program that draws on the screen.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/X11/Server/Connection.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/ChildProcess.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate::test {

inline xcb_rectangle_t xcbRectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

/// One plain colour, painted by the server. A window of its own is destroyed with the object.
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
        std::string windowClass{};  ///< of WM_CLASS
        xcb_window_t transientFor = XCB_NONE;
    };

    /// Uses a connection of its own, like another program. Mapped at once, on top.
    TestWindow(const std::string& displayName, const Look& look);
    /// The root window.
    explicit TestWindow(const std::string& displayName)
        : connection_(displayName), window_(connection_.root()) {}

    const x11::Connection& connection() const { return connection_; }
    xcb_window_t id() const { return window_; }

    void place(const PixelRect& frame) {
        configure(
            XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
            {frame.x, frame.y, frame.width, frame.height});
    }
    void move(int x, int y) { configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {x, y}); }
    void raise() { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE}); }
    void lower() { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_BELOW}); }
    void map() { sync(xcb_map_window(connection_.get(), window_)); }
    void unmap() { sync(xcb_unmap_window(connection_.get(), window_)); }
    void destroy() { sync(xcb_destroy_window(connection_.get(), window_)); }
    /// The whole window in another colour, or with a picture. The server also paints what is uncovered later.
    void fill(std::uint32_t colour);
    void fill(const pictures::BgraPicture& picture) { paint(picture, true); }
    /// A part of it, in its own coordinates.
    void fill(const PixelRect& rect, std::uint32_t colour);
    /// The server does not paint what is uncovered later.
    void draw(const pictures::BgraPicture& picture);
    /// Waits until a part of the window was uncovered after draw(); false when the server is gone.
    bool waitUntilExposed();
    void setClass(const std::string& name) {
        setProperty("WM_CLASS", "STRING", std::string("instance\0", 9) + name + '\0');
    }
    /// Shapes the window, in its own coordinates.
    void shape(const std::vector<PixelRect>& parts);
    /// Sets a property of 8-bit units, or of 32-bit ones, of this window or of another one.
    void setProperty(const char* name, const char* type, std::string_view text,
                     xcb_window_t ofOther = XCB_NONE) {
        change(ofOther, name, type, 8, text.size(), text.data());
    }
    void setProperty(const char* name, const char* type, const std::vector<std::uint32_t>& numbers,
                     xcb_window_t ofOther = XCB_NONE) {
        change(ofOther, name, type, 32, numbers.size(), numbers.data());
    }
    /// Waits until the server has carried out all requests.
    void sync(xcb_void_cookie_t /*last*/ = {}) { connection_.sync(); }

 protected:
    /// Returns the pixmap of a background.
    xcb_pixmap_t paint(const pictures::BgraPicture& picture, bool asBackground);

 private:
    void configure(std::uint16_t mask, const std::vector<int>& values) {
        const std::vector<std::uint32_t> words(values.begin(), values.end());
        sync(xcb_configure_window(connection_.get(), window_, mask, words.data()));
    }

    void change(xcb_window_t ofOther, const char* name, const char* type, std::uint8_t format,
                std::size_t count, const void* values) {
        sync(xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, ofOther ? ofOther : window_,
                                 connection_.internAtom(name), connection_.internAtom(type), format,
                                 static_cast<std::uint32_t>(count), values));
    }

    x11::Connection connection_;
    xcb_window_t window_;
};

using stage::eventually;

/// Another window of the same program.
std::uint32_t makeWindow(TestWindow& by, std::uint32_t parent, std::uint16_t windowClass, bool mapped = true);
/// Sends a request to the window manager, as a task bar does.
void ask(TestWindow& window, const char* request, const std::vector<std::uint32_t>& data);

/// A program that draws on the screen, changes monitors and pointer, and reads the screen.
class ScreenPainter : public TestWindow {
 public:
    explicit ScreenPainter(const std::string& displayName)
        : TestWindow(displayName), displayName_(displayName) {}

    /// Tiles the root window with that picture, and publishes it as wallpaper programs do.
    void setBackground(const pictures::BgraPicture& tile) {
        setProperty("_XROOTPMAP_ID", "PIXMAP", {paint(tile, true)});
    }
    /// Makes the cursor a plain square of that many pixels, with its hot spot in the middle.
    void showSquareCursor(std::uint16_t side, std::uint32_t colour) {
        const xcb_pixmap_t mask = connection().generateId();
        const xcb_gcontext_t context = connection().generateId();
        const xcb_cursor_t cursor = connection().generateId();
        const std::uint32_t set = 1;
        const xcb_rectangle_t all{0, 0, side, side};
        const auto wide = [=](int shift) { return std::uint16_t((colour >> shift & 0xff) * 0x101); };
        const auto hot = std::uint16_t(side / 2);
        xcb_create_pixmap(xcb(), 1, mask, id(), side, side);
        xcb_create_gc(xcb(), context, mask, XCB_GC_FOREGROUND, &set);
        xcb_poly_fill_rectangle(xcb(), mask, context, 1, &all);
        xcb_create_cursor(xcb(), cursor, mask, mask, wide(16), wide(8), wide(0), 0, 0, 0, hot, hot);
        sync(xcb_change_window_attributes(xcb(), id(), XCB_CW_CURSOR, &cursor));
    }
    void movePointer(std::int16_t x, std::int16_t y) {
        sync(xcb_warp_pointer(xcb(), XCB_NONE, id(), 0, 0, 0, 0, x, y));
    }
    void setMonitor(const std::string& name, const PixelRect& frame) const {
        xrandr({"--setmonitor", name,
                std::to_string(frame.width) + "/100x" + std::to_string(frame.height) + "/100+" +
                    std::to_string(frame.x) + "+" + std::to_string(frame.y),
                "none"});
    }
    void deleteMonitor(const std::string& name) const { xrandr({"--delmonitor", name}); }
    /// Disables the server's output and gives the root window another size, at most the initial one.
    void resizeScreen(int width, int height) const {
        xrandr({"--output", "screen", "--off", "--fb", std::to_string(width) + "x" + std::to_string(height)});
    }
    /// What the screen shows, without the cursor.
    pictures::BgraPicture screen(const PixelRect& rect) {
        const xcb_rectangle_t area = xcbRectangle(rect);
        const auto reply = connection().await(
            xcb_get_image_reply, xcb_get_image(xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, id(), area.x, area.y,
                                               area.width, area.height, ~0U));
        pictures::BgraPicture picture(rect.width, rect.height);
        std::memcpy(picture.row(0), xcb_get_image_data(reply.get()),
                    static_cast<std::size_t>(rect.area()) * 4);
        return picture;
    }

 private:
    void xrandr(std::vector<std::string> words) const {
        words.insert(words.begin(), "xrandr");
        stage::runProgram(std::move(words), {{"DISPLAY", displayName_}, {"XAUTHORITY", std::nullopt}});
    }
    xcb_connection_t* xcb() const { return connection().get(); }

    std::string displayName_;
};

}  // namespace lumicrate::test
