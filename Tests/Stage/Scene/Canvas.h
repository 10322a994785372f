// Canvas: the window that a scene is played in.
#pragma once

#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Xcb.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lumicrate::stage {

class Canvas {
 public:
    struct Options {
        std::string title;
        // An ordinary window of this size; without it an unmanaged one that covers the whole screen.
        std::optional<std::pair<int, int>> size;
    };

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

    // Opens the window on $DISPLAY and returns when it can be seen. Throws std::runtime_error.
    explicit Canvas(const Options& options);

    int width() const { return width_; }
    int height() const { return height_; }

    std::unique_ptr<Stored> store(const Image& image);
    // What the server shows by itself where the window is uncovered.
    void setBackground(const Stored& image);
    void copy(const Stored& image, const Area& from, int x, int y);
    void put(const Image& image, const Area& from, int x, int y);
    void put(const Image& image) { put(image, {0, 0, image.width(), image.height()}, 0, 0); }
    void fill(const Area& area, Color color);
    // Returns when the server has carried out everything.
    void sync();

 private:
    void createWindow(const Options& options);
    void awaitExposure();
    void putInto(xcb_drawable_t target, const Image& image, const Area& from, int x, int y);

    XcbConnection connection_;
    xcb_window_t window_ = XCB_NONE;
    xcb_gcontext_t context_ = XCB_NONE;
    int width_ = 0;
    int height_ = 0;
};

}  // namespace lumicrate::stage
