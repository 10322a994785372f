// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/CompositionWatch.h"

#include "Support/Log.h"
#include "Views/Desktop/XcbConnection.h"

#include <xcb/xfixes.h>

#include <QByteArray>
#include <QGuiApplication>

namespace lumicrate::views {

namespace {

void logState(bool active) {
    log(LogArea::ui, active ? "compositing manager: overlays are translucent"
                            : "no compositing manager: overlays are opaque and shaped");
}

}  // namespace

CompositionWatch::CompositionWatch() {
    if (xcbConnection()) watchManager();
    logState(*active_);
    qGuiApp->installNativeEventFilter(this);
}

CompositionWatch::~CompositionWatch() {
    if (qGuiApp) qGuiApp->removeNativeEventFilter(this);
}

/// A compositing manager owns a certain selection. Qt watches it too, with the same mask and on the same
/// window, so the two do not disturb each other.
void CompositionWatch::watchManager() {
    xcb_connection_t* const x = xcbConnection();
    const auto* const fixes = xcb_get_extension_data(x, &xcb_xfixes_id);
    if (!fixes || !fixes->present) {
        log(LogArea::ui, "extension XFIXES missing: a compositing manager is assumed");
        return;
    }
    notifyEvent_ = static_cast<std::uint8_t>(fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    managerSelection_ = xcbAtom("_NET_WM_CM_S0");
    if (managerSelection_ == XCB_ATOM_NONE) return;
    xcb_xfixes_select_selection_input(x, xcbRoot(), managerSelection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    active_ = isXcbSelectionOwned(managerSelection_);
}

bool CompositionWatch::nativeEventFilter(const QByteArray& kind, void* message, qintptr*) {
    if (managerSelection_ == 0 || kind != "xcb_generic_event_t") return false;
    const auto* const event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7F) != notifyEvent_) return false;
    const auto* const notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
    if (notify->selection != managerSelection_) return false;
    const bool active = notify->owner != XCB_NONE;
    if (active == *active_) return false;
    logState(active);
    active_ = active;
    return false;
}

}  // namespace lumicrate::views
