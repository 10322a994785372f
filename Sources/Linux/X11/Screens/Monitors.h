// The monitors of an X server, as RandR tells them.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {

struct Monitor {
    std::uint32_t id = 0;  ///< the atom of its name: the same for as long as the server runs
    std::string name;
    PixelRect frame;  ///< on the root window
    bool isPrimary = false;
};

/// The root window's extent now.
PixelRect rootExtent(const Connection& connection);

/// The monitors in the server's order. A server that knows none has one, the whole root window. Throws
/// PlatformError.
std::vector<Monitor> readMonitors(const Connection& connection);

/// The monitor with that number, if it is there.
std::optional<Monitor> findMonitor(const Connection& connection, std::uint32_t id);

}  // namespace lumicrate::x11
