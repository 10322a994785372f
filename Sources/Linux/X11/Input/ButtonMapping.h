// SPDX-License-Identifier: GPL-3.0-or-later
// ButtonMapping: the user's mapping of physical mouse buttons to logical ones. Raw events have the numbers of
// the physical buttons.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

class ButtonMapping {
 public:
    /// Throws PlatformError if the connection is lost.
    explicit ButtonMapping(const Connection& connection) { read(connection); }

    /// Reads the mapping again if the event says that it has changed. Throws likewise.
    void handleEvent(const xcb_generic_event_t& event, const Connection& connection) {
        if (eventType(event) == XCB_MAPPING_NOTIFY &&
            eventAs<xcb_mapping_notify_event_t>(event).request == XCB_MAPPING_POINTER)
            read(connection);
    }
    /// 1 is the left, 2 the middle and 3 the right button.
    std::uint32_t logical(std::uint32_t physical) const {
        return physical >= 1 && physical <= buttons_.size() ? buttons_[physical - 1] : physical;
    }

 private:
    void read(const Connection& connection) {
        const auto reply =
            connection.await(xcb_get_pointer_mapping_reply, xcb_get_pointer_mapping(connection.get()));
        const std::uint8_t* const map = xcb_get_pointer_mapping_map(reply.get());
        buttons_.assign(map, map + xcb_get_pointer_mapping_map_length(reply.get()));
    }

    std::vector<std::uint8_t> buttons_;  ///< logical button of the first, second … physical one
};

}  // namespace lumicrate::x11
