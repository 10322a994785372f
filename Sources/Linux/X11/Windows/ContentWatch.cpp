// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/ContentWatch.h"

#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Error.h"
#include "Support/MediaTime.h"

#include <utility>

namespace lumicrate::x11 {

ContentWatch::ContentWatch(std::function<void()> onChange, const std::string& displayName)
    : onChange_(std::move(onChange)), connection_(displayName), atoms_(connection_), layout_(connection_) {
    connection_.selectRootEvents(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
    selectWindowEvents();
    thread_ = std::thread([this] { run(); });
}

ContentWatch::~ContentWatch() {
    stopping_ = true;
    wakeUp_.signal();
    thread_.join();
}

void ContentWatch::run() {
    try {
        watchUntilStopped();
    } catch (const PlatformError&) {
        // The server is gone: nothing changes any more.
    }
}

void ContentWatch::watchUntilStopped() {
    bool changed = false;
    auto nextCall = HostClock::now();
    while (!stopping_) {
        if (processEvents()) changed = true;
        if (!changed) {
            wakeUp_.wait(connection_.fileDescriptor());
        } else if (HostClock::now() < nextCall) {
            // Regardless of the server: further changes belong to the same call.
            wakeUp_.wait(-1, nextCall);
        } else {
            changed = false;
            // Before the call, so that changes after the handler has read the list are noticed.
            selectWindowEvents();
            onChange_();
            nextCall = HostClock::now() + interval;
        }
    }
}

/// Selects the events of all viewable windows again: an id may have been reused for another window since.
void ContentWatch::selectWindowEvents() {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    for (const OrderedWindow& each : readWindowOrder(connection_, atoms_).windows)
        xcb_change_window_attributes(connection_.get(), each.window, XCB_CW_EVENT_MASK, &events);
    connection_.sync();
}

bool ContentWatch::processEvents() {
    bool changed = false;
    connection_.processEvents(
        [&](const xcb_generic_event_t& event) { changed = isChange(event) || changed; });
    return changed;
}

bool ContentWatch::isChange(const xcb_generic_event_t& event) const {
    // Creation and reparenting matter only with the map event that follows, destruction with the unmap event
    // before it.
    switch (eventType(event)) {
        case XCB_MAP_NOTIFY:
        case XCB_UNMAP_NOTIFY:
        case XCB_CONFIGURE_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            return true;
        case XCB_PROPERTY_NOTIFY:
            return atoms_.affectsWindowList(eventAs<xcb_property_notify_event_t>(event).atom);
        default:
            return layout_.handleEvent(event);
    }
}

}  // namespace lumicrate::x11
