// Events of the root window. A client has one selection of events for a window, so whoever watches the root
// window has to leave in place what others asked for.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>

namespace lumicrate::x11 {

/// Selects these events (XCB_EVENT_MASK_…) of the root window on top of those selected so far.
void selectRootEvents(const Connection& connection, std::uint32_t events);

}  // namespace lumicrate::x11
