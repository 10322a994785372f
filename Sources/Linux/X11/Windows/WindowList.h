// SPDX-License-Identifier: GPL-3.0-or-later
// WindowList: the windows of an X server as the recorder knows them.
#pragma once

#include "Linux/X11/Screens/CompositorWatch.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Linux/X11/Windows/WindowFacts.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// A window's id is that of the application's window, not of the frame around it. Every call queries the
/// server; one thread at a time.
class WindowList {
 public:
    /// `displayName` is the X server's (":1"), or empty for that of $DISPLAY; `scale` is pixels per point.
    /// Throws PlatformError when no server can be reached.
    explicit WindowList(const std::string& displayName = {}, double scale = 1);

    /// The viewable windows, front to back, also those covered by others; not the minimised ones and those on
    /// other desktops. Panels, menus and tool tips are included. The layer follows from the type: 0 for
    /// applications' windows, above 100 for menus; windows on higher layers usually lie in front. Opacity is
    /// reported only while a compositing manager applies it. Throws PlatformError when the server is lost.
    std::vector<SCWindow> windows() const;
    /// A window's frame as in windows(), points; nothing for a window that is not viewable. Throws
    /// PlatformError when the server is lost.
    std::optional<Rect> bounds(std::uint32_t windowID) const;
    /// Whether the window has not been destroyed. Throws as bounds().
    bool exists(std::uint32_t windowID) const;

 private:
    bool isComposited() const;

    Connection connection_;
    WindowAtoms atoms_;
    WindowTypeLayers layers_;
    mutable CompositorWatch compositor_;
    double scale_;
};

}  // namespace lumicrate::x11
