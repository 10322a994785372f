// Painter: draws on a server's screen, as any program might, and says what is to be seen there.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Support/Geometry.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
#include <string>

namespace lumicrate::test {

class Painter {
 public:
    explicit Painter(const std::string& displayName);

    xcb_connection_t* connection() const { return connection_.get(); }
    xcb_window_t root() const { return connection_.screen()->root; }

    void fill(const PixelRect& rect, std::uint32_t colour);
    /// Gives the root window a background of such tiles, tells other programs of it, and shows it.
    void setBackground(const x11::BgraPicture& tile);
    /// Gives the pointer the look of a plain square of that many pixels, hot spot in the middle.
    void showSquareCursor(int size, std::uint32_t colour);
    void movePointer(int x, int y);
    void setMonitor(const std::string& name, const PixelRect& frame);
    void deleteMonitor(const std::string& name);
    /// Turns the server's own output off and gives the root window another size, at most that of the start.
    void resizeScreen(int width, int height);
    /// Returns when the server has done all that was asked for.
    void sync();
    /// What the screen shows, without the pointer.
    x11::BgraPicture screen(const PixelRect& rect);

 private:
    std::string displayName_;
    stage::XcbConnection connection_;
    xcb_gcontext_t context_;
};

}  // namespace lumicrate::test
