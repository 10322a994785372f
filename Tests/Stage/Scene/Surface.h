// Surface: a window of a scene, and the ways to draw in it.
#pragma once

#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumicrate::stage {

class Surface {
 public:
    // Who decides where the window goes: a window manager if there is one, or the scene alone.
    enum class Kind { Ordinary, Unmanaged };

    // A picture kept by the X server.
    class Stored {
     public:
        Stored(xcb_connection_t* connection, xcb_pixmap_t pixmap)
            : connection_(connection), pixmap_(pixmap) {}
        Stored(const Stored&) = delete;
        Stored& operator=(const Stored&) = delete;
        ~Stored() { xcb_free_pixmap(connection_, pixmap_); }
        xcb_pixmap_t id() const { return pixmap_; }

     private:
        xcb_connection_t* connection_;
        xcb_pixmap_t pixmap_;
    };

    // A top-level window above those that are there; returns when it can be seen. Throws std::runtime_error.
    Surface(std::shared_ptr<XcbConnection> connection, const Area& area, const std::string& title, Kind kind);
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;
    ~Surface();

    xcb_window_t id() const { return window_; }
    int width() const { return width_; }
    int height() const { return height_; }

    std::unique_ptr<Stored> store(const Image& image);
    // What the server shows by itself where the window is uncovered.
    void setBackground(const Stored& image);
    void copy(const Stored& image, const Area& from, int x, int y);
    void put(const Image& image, const Area& from, int x, int y);
    void put(const Image& image, int x = 0, int y = 0) {
        put(image, {0, 0, image.width(), image.height()}, x, y);
    }
    void fill(const Area& area, Color color);
    // Of the top-left corner, on the screen.
    void moveTo(int x, int y);

 protected:
    xcb_connection_t* connection() const { return connection_->get(); }
    const std::shared_ptr<XcbConnection>& sharedConnection() const { return connection_; }

 private:
    void create(const Area& area, const std::string& title, Kind kind);
    void awaitExposure();
    void putInto(xcb_drawable_t target, const Image& image, const Area& from, int x, int y);

    std::shared_ptr<XcbConnection> connection_;
    xcb_window_t window_ = XCB_NONE;
    xcb_gcontext_t context_ = XCB_NONE;
    int width_;
    int height_;
};

}  // namespace lumicrate::stage
