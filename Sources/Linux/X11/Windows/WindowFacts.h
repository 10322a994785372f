// SPDX-License-Identifier: GPL-3.0-or-later
// Facts about a window that are derived from its geometry and properties: its visible frame, and the
// application that owns it.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <xcb/res.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace lumicrate::x11 {

/// Widths, pixels.
struct Margins {
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;

    bool isEmpty() const { return left == 0 && right == 0 && top == 0 && bottom == 0; }
};

/// `rect` without these margins; larger for negative ones.
PixelRect narrowed(const PixelRect& rect, const Margins& margins);

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
    /// What the frame follows from, instead of collect().
    std::optional<WindowGeometry> collectGeometry() const;

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

/// The client of the server that created a window. The ids of all resources of a client have the same high
/// bits.
inline std::uint32_t clientOf(const Connection& connection, std::uint32_t resource) {
    return resource & ~xcb_get_setup(connection.get())->resource_id_mask;
}

/// The layers of windows: 0 for applications' windows, above 100 for menus.
class WindowTypeLayers {
 public:
    /// Throws PlatformError when the server is lost.
    explicit WindowTypeLayers(const Connection& connection);

    /// `types` is the window's _NET_WM_WINDOW_TYPE, of which the first known one counts. An unmanaged window
    /// is never on layer 0.
    int layerOf(const Property& types, bool managed) const;

 private:
    std::unordered_map<xcb_atom_t, int> layers_;
};

/// A request for the local processes that created windows, sent by the constructor. Unlike _NET_WM_PID the
/// answer is the server's own knowledge, and never a remote machine's process. Must be collected exactly
/// once, before processOf() is called.
class ProcessQuery {
 public:
    ProcessQuery(const Connection& connection, std::span<const xcb_window_t> windows);

    /// Without the X-Resource extension no process is known. Throws PlatformError when the server is lost.
    void collect();
    std::optional<std::int32_t> processOf(xcb_window_t window) const;

 private:
    const Connection& connection_;
    std::optional<xcb_res_query_client_ids_cookie_t> cookie_;
    std::unordered_map<std::uint32_t, std::int32_t> processes_;  // by client
};

/// The class in a WM_CLASS property, or its instance where the class is empty; UTF-8.
std::string classIn(std::string_view bytes);

/// A request for what a window's properties say about its application, sent by the constructor. Must be
/// collected exactly once.
class WindowOwnerQuery {
 public:
    WindowOwnerQuery(const Connection& connection, const WindowAtoms& atoms, xcb_window_t window);

    /// The name is the window's class, or else the name of its process. `process` is what the server knows;
    /// it overrides _NET_WM_PID. A process id of 0 means unknown; nothing when the name is unknown too.
    /// Throws PlatformError when the server is lost.
    std::optional<SCRunningApplication> collect(std::optional<std::int32_t> process) const;

 private:
    PropertyQuery processID_;
    PropertyQuery class_;
};

}  // namespace lumicrate::x11
