// SPDX-License-Identifier: GPL-3.0-or-later
// Surface: a window of a scene, and the operations to draw in it.
#pragma once

#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumicrate::stage {

class Surface {
 public:
    /// The canvas of a scene, which covers the screen of $DISPLAY. Throws std::runtime_error.
    static std::unique_ptr<Surface> openCanvas(const std::string& title);
    /// Another window, above all others. Throws std::runtime_error.
    std::unique_ptr<Surface> openWindow(const Area& area, const std::string& title) {
        return std::make_unique<Surface>(connection_, area, title);
    }

    /// A window that no window manager manages; it disappears with the connection. Returns when it is
    /// visible. Throws std::runtime_error.
    Surface(std::shared_ptr<XcbConnection> display, const Area& area, const std::string& title);
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    xcb_window_t id() const { return window_; }
    int width() const { return width_; }
    int height() const { return height_; }

    /// Keeps an image in the X server, as long as the connection lives.
    xcb_pixmap_t store(const Image& image);
    /// Tiles what the server itself draws where the window is uncovered.
    void setBackground(xcb_pixmap_t image);
    void copy(xcb_pixmap_t image, const Area& from, int x, int y);
    void put(const Image& image, const Area& from, int x, int y) { putInto(window_, image, from, x, y); }
    void put(const Image& image, int x = 0, int y = 0) {
        put(image, {0, 0, image.width(), image.height()}, x, y);
    }
    void fill(const Area& area, Color color);
    /// The place of the top-left corner on the screen.
    void moveTo(int x, int y);
    /// Returns when the server has drawn everything, in all windows of the scene.
    void sync();

 private:
    xcb_connection_t* connection() const { return connection_->get(); }
    void putInto(xcb_drawable_t target, const Image& image, const Area& from, int x, int y);

    std::shared_ptr<XcbConnection> connection_;
    xcb_window_t window_ = XCB_NONE;
    xcb_gcontext_t context_ = XCB_NONE;
    int width_;
    int height_;
};

}  // namespace lumicrate::stage
