// StackWatch: keeps a WindowStack like the server's.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowStack.h"

#include <xcb/shape.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// Windows of the server's own (a compositing manager's overlay, a screen saver's) are left out. One thread
/// at a time.
class StackWatch {
 public:
    /// `connection` must outlive the watch. Throws PlatformError when the server cannot do it.
    explicit StackWatch(const Connection& connection);

    const WindowStack& stack() const { return stack_; }
    /// Takes in an event that came at that time; nothing when it changes no top-level window.
    std::optional<StackChange> hear(const xcb_generic_event_t& event, std::chrono::nanoseconds now);
    /// Asks for what events did not tell of the viewable windows; waits for the server only if there is any.
    void learn();

 private:
    struct Question {
        xcb_window_t window;
        xcb_get_geometry_cookie_t geometry;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_shape_query_extents_cookie_t shape;
    };

    bool isServers(xcb_window_t window) const;
    void takeInventory();
    Question ask(xcb_window_t window) const;
    void takeAnswer(const Question& question, StackedWindow& window) const;
    std::vector<PixelRect> partsOf(xcb_window_t window, int border) const;

    const Connection& connection_;
    std::uint8_t shapeEvent_;
    std::uint32_t since_ = 0;  ///< the request that told how the windows are stacked
    WindowStack stack_;
};

}  // namespace lumicrate::x11
