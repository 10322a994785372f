// LayoutWatch: hears of it when monitors come, go or move.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>

namespace lumicrate::x11 {

class LayoutWatch {
 public:
    /// A server without RandR never changes its layout; then nothing is ever heard.
    explicit LayoutWatch(const Connection& connection);

    /// Whether the event says that the layout changed.
    bool hears(const xcb_generic_event_t& event) const;

 private:
    xcb_window_t root_;
    std::uint8_t firstEvent_ = 0;
};

}  // namespace lumicrate::x11
