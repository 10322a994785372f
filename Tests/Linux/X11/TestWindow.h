// TestWindow: a window as an application has it, or a panel that no window manager touches.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Support/Geometry.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::test {

/// One plain colour, painted by the server. Goes with the object.
class TestWindow {
 public:
    struct Look {
        PixelRect frame;                  ///< on the root window; a window manager may decide otherwise
        std::uint32_t colour = 0xffffff;  ///< of a translucent window: opacity in the highest byte, colours
                                          ///< multiplied by it
        bool translucent = false;         ///< 32 bits deep
        bool managed = false;             ///< by a window manager, if there is one
        std::string title{};              ///< UTF-8
        int borderWidth = 0;
    };

    /// A connection of its own, as another program has it. Mapped at once, on top.
    TestWindow(const std::string& displayName, const Look& look);

    xcb_connection_t* connection() const { return connection_.get(); }
    xcb_window_t id() const { return window_; }

    void place(const PixelRect& frame);
    void move(int x, int y);
    void raise();
    void lower();
    void map();
    void unmap();
    /// The whole window in another colour.
    void fill(std::uint32_t colour);
    /// A part of it, in its own coordinates.
    void fill(const PixelRect& rect, std::uint32_t colour);
    /// The whole window with a picture instead, which the server paints wherever it is uncovered.
    void fill(const x11::BgraPicture& picture);
    /// The same without the server's help: it leaves what is uncovered as it is.
    void draw(const x11::BgraPicture& picture);
    /// Waits until some of the window was uncovered and not painted; false when the server is gone.
    bool waitUntilExposed();
    /// Leaves the window only these parts, in its own coordinates.
    void shape(const std::vector<PixelRect>& parts);
    void destroy();
    /// Returns when the server has done all that was asked for.
    void sync();

 private:
    void stack(std::uint32_t mode);
    void put(xcb_drawable_t drawable, const x11::BgraPicture& picture);

    stage::XcbConnection connection_;
    xcb_window_t window_;
    xcb_gcontext_t context_;
};

}  // namespace lumicrate::test
