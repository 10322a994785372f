#include "Linux/X11/Input/KeyboardEvents.h"

// The header has a member of that name, which C++ cannot have.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

namespace lumicrate::x11 {

KeyboardEvents::KeyboardEvents(const Connection& connection) {
    if (!connection.hasExtension(xcb_xkb_id)) return;
    extensionEvent_ = connection.extension(xcb_xkb_id, "XKEYBOARD").first_event;
    connection.await(xcb_xkb_use_extension_reply,
                     xcb_xkb_use_extension(connection.get(), XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION));
    const std::uint32_t repeats = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    connection.await(
        xcb_xkb_per_client_flags_reply,
        xcb_xkb_per_client_flags(connection.get(), XCB_XKB_ID_USE_CORE_KBD, repeats, repeats, 0, 0, 0));
    // A client that uses the extension is told of changes by its events alone.
    const std::uint16_t changes = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const std::uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(connection.get(), XCB_XKB_ID_USE_CORE_KBD, changes, 0, changes, parts, parts,
                          nullptr);
}

bool KeyboardEvents::hears(const xcb_generic_event_t& event) const {
    const int type = event.response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        return reinterpret_cast<const xcb_mapping_notify_event_t&>(event).request != XCB_MAPPING_POINTER;
    }
    // Only changes were asked for.
    return extensionEvent_ != 0 && type == extensionEvent_;
}

}  // namespace lumicrate::x11
