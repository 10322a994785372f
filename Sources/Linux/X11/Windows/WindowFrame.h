// A window's frame: what of the screen belongs to it in a person's eyes.
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

    bool areNone() const { return left == 0 && right == 0 && top == 0 && bottom == 0; }
};

/// What the server and the properties say of a window; all on the root window.
struct WindowGeometry {
    PixelRect outline;   ///< of the top-level with its border
    PixelRect contents;  ///< of the application's window without border
    bool reparented = false;
    Margins decoration;  ///< that the window manager put around it
    Margins shadow;  ///< that the application painted inside its window, around what looks like the window
};

/// The window with its decorations, without its shadow; never empty.
PixelRect visibleFrame(const WindowGeometry& geometry);

/// A question for a window's frame, on its way from the constructor on. It must be collected, and once only.
class WindowFrameQuery {
 public:
    /// `hasManager`: whether there is a window manager, so that what it says of decorations is of now.
    WindowFrameQuery(const Connection& connection, const WindowAtoms& atoms, const OrderedWindow& window,
                     bool hasManager);

    /// On the root window; nothing for a window that is gone. Throws PlatformError when the server is lost.
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
