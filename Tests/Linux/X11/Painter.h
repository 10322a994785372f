// Painter: a program that draws on the screen, changes monitors and pointer, and reads the screen.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <string>

namespace lumicrate::test {

class Painter {
 public:
    explicit Painter(const std::string& displayName);

    void fill(const PixelRect& rect, std::uint32_t colour);
    /// Tiles the root window with that picture, and publishes it as wallpaper programs do.
    void setBackground(const x11::BgraPicture& tile);
    /// Makes the cursor a plain square of that many pixels, with its hot spot in the middle.
    void showSquareCursor(int size, std::uint32_t colour);
    void movePointer(int x, int y);
    void setMonitor(const std::string& name, const PixelRect& frame);
    void deleteMonitor(const std::string& name);
    /// Disables the server's output and gives the root window another size, at most the initial one.
    void resizeScreen(int width, int height);
    /// Waits until the server has carried out all requests.
    void sync() { connection_.sync(); }
    /// What the screen shows, without the cursor.
    x11::BgraPicture screen(const PixelRect& rect);

 private:
    xcb_connection_t* xcb() const { return connection_.get(); }
    xcb_window_t root() const { return connection_.root(); }

    std::string displayName_;
    x11::Connection connection_;
    xcb_gcontext_t context_;
};

}  // namespace lumicrate::test
