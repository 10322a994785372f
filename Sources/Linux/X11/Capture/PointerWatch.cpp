// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/PointerWatch.h"

#include <xcb/xinput.h>

#include <utility>

namespace lumicrate::x11 {

PointerWatch::PointerWatch(const Connection& connection)
    : connection_(connection),
      fixesEvent_(connection.extensionEvent(xcb_xfixes_id, "XFIXES", XCB_XFIXES_CURSOR_NOTIFY)),
      inputOpcode_(connection.extension(xcb_input_id, "XInputExtension").major_opcode) {
    connection.await(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(connection.get(), 4, 0));
    connection.await(xcb_input_xi_query_version_reply, xcb_input_xi_query_version(connection.get(), 2, 2));
    xcb_xfixes_select_cursor_input(connection.get(), connection.root(),
                                   XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    selectMotion(true);
}

PointerWatch::~PointerWatch() {
    xcb_xfixes_select_cursor_input(connection_.get(), connection_.root(), 0);
    if (motionSelected_) selectMotion(false);
}

void PointerWatch::selectMotion(bool selected) {
    connection_.selectInputEvents(selected ? XCB_INPUT_XI_EVENT_MASK_RAW_MOTION : 0);
    motionSelected_ = selected;
}

bool PointerWatch::handleEvent(const xcb_generic_event_t& event) {
    const int type = eventType(event);
    if (type == fixesEvent_) {
        imageStale_ = true;
        return true;
    }
    if (type != XCB_GE_GENERIC) return false;
    const auto& generic = eventAs<xcb_ge_generic_event_t>(event);
    if (generic.extension != inputOpcode_ || generic.event_type != XCB_INPUT_RAW_MOTION) return false;
    if (motionSelected_) selectMotion(false);
    return true;
}

void PointerWatch::request() {
    // Before the query, so that motion after the reply is reported.
    if (!motionSelected_) selectMotion(true);
    if (imageStale_) fetchedImage_ = xcb_xfixes_get_cursor_image(connection_.get());
    imageStale_ = false;
    pointer_ = xcb_query_pointer(connection_.get(), connection_.root());
}

std::optional<pictures::CursorOverlay> PointerWatch::collect() {
    if (const auto cookie = std::exchange(fetchedImage_, std::nullopt)) {
        image_ = nullptr;
        if (const auto reply = connection_.tryAwait(xcb_xfixes_get_cursor_image_reply, *cookie)) {
            const std::uint32_t* const pixels = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
            const int count = xcb_xfixes_get_cursor_image_cursor_image_length(reply.get());
            image_ = std::make_shared<const pictures::CursorImage>(pictures::CursorImage{
                reply->width, reply->height, reply->xhot, reply->yhot, {pixels, pixels + count}});
        }
    }
    const auto pointer = connection_.await(xcb_query_pointer_reply, pointer_);
    if (!image_ || pointer->same_screen == 0) return std::nullopt;
    return pictures::CursorOverlay(image_, pointer->root_x, pointer->root_y);
}

}  // namespace lumicrate::x11
