// A window's visible frame: with its decorations, without its shadow.
#pragma once

#include "Linux/X11/Server/Property.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Geometry.h"

#include <optional>

namespace lumicrate::x11 {

/// Widths, pixels.
struct Margins {
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;

    bool isEmpty() const { return left == 0 && right == 0 && top == 0 && bottom == 0; }
};

/// Rectangles on the root window.
struct WindowGeometry {
    PixelRect outline;   ///< the top-level window with its border
    PixelRect contents;  ///< the application's window without its border
    bool reparented = false;
    Margins decoration;  ///< added by the window manager
    Margins shadow;      ///< painted by the application inside its window
};

/// The window with its decorations, without its shadow; never empty.
PixelRect visibleFrame(const WindowGeometry& geometry);

/// A request for a window's frame, sent by the constructor. Must be collected exactly once.
class WindowFrameQuery {
 public:
    /// `hasManager`: whether a window manager is running; without one, decoration properties are leftovers.
    WindowFrameQuery(const Connection& connection, const WindowAtoms& atoms, const OrderedWindow& window,
                     bool hasManager);

    /// In pixels on the root window; nothing for a window that is gone. Throws PlatformError when the server
    /// is lost.
    std::optional<PixelRect> collect() const;

 private:
    const Connection* connection_;
    bool reparented_;
    bool hasManager_;
    xcb_get_geometry_cookie_t outline_;
    xcb_get_geometry_cookie_t contents_;
    xcb_translate_coordinates_cookie_t origin_;
    PropertyQuery decoration_;
    PropertyQuery shadow_;
};

}  // namespace lumicrate::x11
