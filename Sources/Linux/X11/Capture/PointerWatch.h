// PointerWatch: where the pointer is and how it looks.
#pragma once

#include "Linux/X11/Capture/CursorOverlay.h"
#include "Linux/X11/Server/Connection.h"

#include <xcb/xfixes.h>
#include <xcb/xproto.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace lumicrate::x11 {

/// A mouse reports a thousand times a second. One report is enough to know that the pointer moves, so after
/// the first no more are asked for until the pointer was looked at.
class PointerWatch {
 public:
    /// `connection` must outlive the watch. Throws PlatformError when the server cannot do it.
    explicit PointerWatch(const Connection& connection);
    ~PointerWatch();
    PointerWatch(const PointerWatch&) = delete;
    PointerWatch& operator=(const PointerWatch&) = delete;

    /// Whether the event says that the pointer moved or looks otherwise.
    bool hears(const xcb_generic_event_t& event);

    /// Asks for the pointer; the answer is fetched with collect(), so that other requests can travel along.
    void request();
    /// The pointer in the root window's coordinates; none when it is on another screen or has no picture.
    std::optional<CursorOverlay> collect();

 private:
    void selectMotion(bool wanted);

    const Connection& connection_;
    std::uint8_t fixesEvent_;
    std::uint8_t inputOpcode_;
    bool motionSelected_ = false;
    bool imageStale_ = true;
    std::shared_ptr<const CursorImage> image_;
    xcb_query_pointer_cookie_t pointer_{};
    std::optional<xcb_xfixes_get_cursor_image_cookie_t> fetchedImage_;
};

}  // namespace lumicrate::x11
