// SPDX-License-Identifier: GPL-3.0-or-later
// PointerWatch: the pointer's position and image.
#pragma once

#include "Linux/Pictures/CursorOverlay.h"
#include "Linux/X11/Server/Connection.h"

#include <xcb/xfixes.h>
#include <xcb/xproto.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace lumicrate::x11 {

/// A mouse may report motion a thousand times a second. One report is enough to know that the pointer has
/// moved, so motion events are deselected after the first until the pointer is queried again.
class PointerWatch {
 public:
    /// `connection` must outlive the watch. Throws PlatformError when the server lacks an extension.
    explicit PointerWatch(const Connection& connection);
    ~PointerWatch();
    PointerWatch(const PointerWatch&) = delete;
    PointerWatch& operator=(const PointerWatch&) = delete;

    /// Whether the event announces that the pointer moved or has another image.
    bool handleEvent(const xcb_generic_event_t& event);

    /// Requests the pointer; collect() waits for the reply, so that other requests can be sent in between.
    void request();
    /// The pointer on the root window; nothing when it is on another screen or has no image.
    std::optional<pictures::CursorOverlay> collect();

 private:
    void selectMotion(bool selected);

    const Connection& connection_;
    std::uint8_t fixesEvent_;
    std::uint8_t inputOpcode_;
    bool motionSelected_ = false;
    bool imageStale_ = true;
    std::shared_ptr<const pictures::CursorImage> image_;
    xcb_query_pointer_cookie_t pointer_{};
    std::optional<xcb_xfixes_get_cursor_image_cookie_t> fetchedImage_;
};

}  // namespace lumicrate::x11
