// Displays: the displays of an X server as the recorder knows them.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// A display's number is the atom of its monitor's name, so it stays the same while the server runs. Every
/// call asks the server; one thread at a time.
class Displays {
 public:
    /// `displayName` is the X server's (":1"), or empty for the one of $DISPLAY; `scale` the number of pixels
    /// in a point, the same on all displays. Throws PlatformError when no server can be reached.
    explicit Displays(const std::string& displayName = {}, double scale = 1);

    /// In the server's order. Throws PlatformError when the server is gone.
    std::vector<SCDisplay> displays() const;
    /// The primary display, or the first where none is primary.
    std::uint32_t mainDisplayID() const;
    /// A display's frame, points; an empty rectangle for an unknown display.
    Rect bounds(std::uint32_t displayID) const;

 private:
    Connection connection_;
    double scale_;
};

}  // namespace lumicrate::x11
