// SPDX-License-Identifier: GPL-3.0-or-later
// logServer: writes what an X server offers to the log, for bug reports.
#pragma once

#include "Linux/X11/Server/Connection.h"

namespace lumicrate::x11 {

/// Logs the server's release, the versions of the extensions that are used, the compositing manager, and the
/// monitors with their geometry and refresh rate. `scale` is the desktop's. Does nothing unless
/// LogArea::capture is logged. Throws PlatformError when the server is lost.
void logServer(const Connection& connection, double scale);

}  // namespace lumicrate::x11
