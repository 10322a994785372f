// SPDX-License-Identifier: GPL-3.0-or-later
// Displays: the monitors of an X server, as RandR lists them and as the recorder knows them.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {

struct Monitor {
    std::uint32_t id = 0;  ///< the atom of its name: constant while the server runs
    std::string name;
    PixelRect frame;  ///< on the root window
    bool isPrimary = false;
    /// The output whose connector the monitor is named after; 0 for a monitor that a user defined.
    std::uint32_t output = 0;
};

/// The root window's current size, at (0, 0).
PixelRect rootExtent(const Connection& connection);

/// The monitors in the server's order. Without RandR 1.5 the whole root window is the only one. Throws
/// PlatformError when the server is lost.
std::vector<Monitor> readMonitors(const Connection& connection);
std::optional<Monitor> findMonitor(const Connection& connection, std::uint32_t id);

/// Notices that monitors were added, removed or moved.
class LayoutWatch {
 public:
    /// Without RandR only changes of the root window are noticed.
    explicit LayoutWatch(const Connection& connection);

    /// Whether the event announces a change of the layout.
    bool handleEvent(const xcb_generic_event_t& event) const;

 private:
    xcb_window_t root_;
    std::uint8_t firstEvent_ = 0;  ///< 0 without RandR
};

/// Every call queries the server; one thread at a time. A display's id is its monitor's.
class Displays {
 public:
    /// `displayName` is the X server's (":1"), or empty for that of $DISPLAY; `scale` is pixels per point,
    /// the same on all displays. Throws PlatformError when no server can be reached.
    explicit Displays(const std::string& displayName = {}, double scale = 1);

    /// In the server's order. Throws PlatformError when the server is lost.
    std::vector<SCDisplay> displays() const;
    /// The primary display, or the first where none is primary.
    std::uint32_t mainDisplayID() const;
    /// A display's frame in points; an empty rectangle for an unknown display.
    Rect bounds(std::uint32_t displayID) const;

 private:
    Connection connection_;
    double scale_;
};

/// Logs the server's release, the versions of the extensions that are used, the compositing manager, and the
/// monitors with their geometry and refresh rate. `scale` is the desktop's. Does nothing unless
/// LogArea::capture is logged. Throws PlatformError when the server is lost.
void logServer(const Connection& connection, double scale);

}  // namespace lumicrate::x11
