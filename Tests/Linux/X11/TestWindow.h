// TestWindow: an application's window or an unmanaged panel, and requests to the window manager.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Support/Geometry.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/Xcb.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

namespace lumicrate::test {

inline xcb_rectangle_t xcbRectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

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
    void map();
    void unmap();
    /// The whole window in another colour.
    void fill(std::uint32_t colour);
    /// A part of it, in its own coordinates.
    void fill(const PixelRect& rect, std::uint32_t colour);
    /// The whole window with a picture, which the server paints wherever the window is uncovered.
    void fill(const x11::BgraPicture& picture);
    /// The same, but the server does not paint what is uncovered later.
    void draw(const x11::BgraPicture& picture);
    /// Waits until a part of the window was uncovered; false when the server is gone.
    bool waitUntilExposed();
    /// Shapes the window, in its own coordinates.
    void shape(const std::vector<PixelRect>& parts);
    void destroy();
    /// Waits until the server has carried out all requests.
    void sync();

 private:
    void configure(std::uint16_t mask, const std::vector<int>& values);
    void put(xcb_drawable_t drawable, const x11::BgraPicture& picture);

    stage::XcbConnection connection_;
    xcb_window_t window_;
    xcb_gcontext_t context_;
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
    xcb_change_property(by.connection(), XCB_PROP_MODE_REPLACE, window,
                        stage::internAtom(by.connection(), name), stage::internAtom(by.connection(), type),
                        format, static_cast<std::uint32_t>(values.size()), values.data());
    by.sync();
}

inline std::uint32_t makeMapped(TestWindow& by, std::uint32_t parent, std::uint16_t windowClass) {
    const std::uint32_t id = xcb_generate_id(by.connection());
    xcb_create_window(by.connection(), XCB_COPY_FROM_PARENT, id, parent, 0, 0, 100, 60, 0, windowClass,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(by.connection(), id);
    by.sync();
    return id;
}

inline std::uint32_t rootOf(const TestWindow& window) {
    return xcb_setup_roots_iterator(xcb_get_setup(window.connection())).data->root;
}

inline std::uint32_t makeChild(TestWindow& parent, std::uint16_t windowClass) {
    return makeMapped(parent, parent.id(), windowClass);
}

inline std::uint32_t makeTopLevel(TestWindow& by, std::uint16_t windowClass) {
    return makeMapped(by, rootOf(by), windowClass);
}

/// Sends a request to the window manager, as a task bar does.
inline void ask(TestWindow& window, const char* request, std::initializer_list<std::uint32_t> data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window.id();
    event.type = stage::internAtom(window.connection(), request);
    std::ranges::copy(data, std::begin(event.data.data32));
    xcb_send_event(window.connection(), 0, rootOf(window),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    window.sync();
}

inline void minimize(TestWindow& window) {
    constexpr std::uint32_t iconic = 3;
    ask(window, "WM_CHANGE_STATE", {iconic});
}

inline void raise(TestWindow& window) {
    constexpr std::uint32_t byTaskBar = 2;
    ask(window, "_NET_RESTACK_WINDOW", {byTaskBar, XCB_NONE, XCB_STACK_MODE_ABOVE});
}

}  // namespace lumicrate::test
