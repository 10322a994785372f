#include "Linux/X11/Server/RootEvents.h"

namespace lumicrate::x11 {

void selectRootEvents(const Connection& connection, std::uint32_t events) {
    const auto attributes = connection.await(xcb_get_window_attributes_reply,
                                             xcb_get_window_attributes(connection.get(), connection.root()));
    const std::uint32_t all = attributes->your_event_mask | events;
    xcb_change_window_attributes(connection.get(), connection.root(), XCB_CW_EVENT_MASK, &all);
}

}  // namespace lumicrate::x11
