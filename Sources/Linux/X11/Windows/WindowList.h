// WindowList: the windows of an X server as the recorder knows them.
#pragma once

#include "Linux/X11/Screens/CompositorWatch.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// A window's number is that of the application's window, not of the frame around it. Every call asks the
/// server; one thread at a time.
class WindowList {
 public:
    /// `displayName` is the X server's (":1"), or empty for the one of $DISPLAY; `scale` the number of pixels
    /// in a point. Throws PlatformError when no server can be reached.
    explicit WindowList(const std::string& displayName = {}, double scale = 1);

    /// The windows on the screen, front to back, also those that are covered by others; what is minimised or
    /// on another desktop is not on the screen. Panels, menus and tool tips are among them, on layers of
    /// their own (see windowLayer). What a window is faded to counts where a compositing manager does that.
    /// Throws PlatformError when the server is gone.
    std::vector<SCWindow> windows() const;
    /// The frame that a window has in the list, points; nothing for a window that is not on the screen.
    /// Throws PlatformError when the server is gone.
    std::optional<Rect> bounds(std::uint32_t windowID) const;

 private:
    bool isComposited() const;

    Connection connection_;
    WindowAtoms atoms_;
    mutable CompositorWatch compositor_;
    double scale_;
};

}  // namespace lumicrate::x11
