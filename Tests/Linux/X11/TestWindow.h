// TestWindow: an application's window or an unmanaged panel, and requests to the window manager.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Linux/X11/Server/Connection.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
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

}  // namespace lumicrate::test
