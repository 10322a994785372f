#include "Views/Overlays/CompositionWatch.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QByteArray>
#include <QGuiApplication>
#include <cstdlib>
#include <memory>

namespace lumicrate::views {

namespace {

template <class Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

template <class Reply>
Owned<Reply> owned(Reply* reply) {
    return {reply, &std::free};
}

xcb_connection_t* connection() {
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

}  // namespace

CompositionWatch::CompositionWatch() {
    if (connection()) watchSelection();
    qGuiApp->installNativeEventFilter(this);
}

CompositionWatch::~CompositionWatch() {
    if (qGuiApp) qGuiApp->removeNativeEventFilter(this);
}

/// A compositing manager owns this selection. Qt watches it too, with the same mask and on the same window,
/// so neither takes the events from the other.
void CompositionWatch::watchSelection() {
    xcb_connection_t* const x = connection();
    const auto* const fixes = xcb_get_extension_data(x, &xcb_xfixes_id);
    if (!fixes || !fixes->present) return;
    notifyEvent_ = static_cast<std::uint8_t>(fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    // Qt speaks to one screen of a server, the first.
    constexpr char name[] = "_NET_WM_CM_S0";
    const auto atom = owned(xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, sizeof name - 1, name), nullptr));
    if (!atom) return;
    selection_ = atom->atom;
    xcb_xfixes_select_selection_input(x, xcb_setup_roots_iterator(xcb_get_setup(x)).data->root, selection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const auto owner =
        owned(xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, selection_), nullptr));
    active_ = owner && owner->owner != XCB_NONE;
}

bool CompositionWatch::nativeEventFilter(const QByteArray& kind, void* message, qintptr*) {
    if (selection_ == 0 || kind != "xcb_generic_event_t") return false;
    const auto* const event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7F) != notifyEvent_) return false;
    const auto* const notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
    if (notify->selection != selection_) return false;
    const bool active = notify->owner != XCB_NONE;
    if (active != *active_) active_ = active;
    return false;
}

}  // namespace lumicrate::views
