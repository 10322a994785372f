#include "Linux/X11/Windows/ContentWatch.h"

#include "Linux/X11/Server/RootEvents.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Error.h"
#include "Support/MediaTime.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

namespace lumicrate::x11 {

ContentWatch::ContentWatch(std::function<void()> onChange, const std::string& displayName)
    : onChange_(std::move(onChange)), connection_(displayName), atoms_(connection_), layout_(connection_) {
    selectRootEvents(connection_, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
    listenToWindows();
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
        // The server is gone, and with it all that could change.
    }
}

void ContentWatch::watchUntilStopped() {
    bool changed = false;
    auto nextCall = HostClock::now();
    while (!stopping_) {
        if (takeEvents()) changed = true;
        if (!changed) {
            wait(std::nullopt);
        } else if (HostClock::now() < nextCall) {
            wait(nextCall);
        } else {
            changed = false;
            // Before the call: whoever looks then is told of what changes afterwards.
            listenToWindows();
            onChange_();
            nextCall = HostClock::now() + interval;
        }
    }
}

/// Asks for changes of every window that can be seen, also of those that have been asked for before: whether
/// a number still means the same window cannot be told.
void ContentWatch::listenToWindows() {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    for (const OrderedWindow& each : readWindowOrder(connection_, atoms_).windows)
        xcb_change_window_attributes(connection_.get(), each.window, XCB_CW_EVENT_MASK, &events);
    connection_.await(xcb_get_input_focus_reply, xcb_get_input_focus(connection_.get()));
}

bool ContentWatch::takeEvents() {
    bool changed = false;
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())})
        changed = hears(*event) || changed;
    connection_.throwIfLost();
    return changed;
}

bool ContentWatch::hears(const xcb_generic_event_t& event) const {
    // A window that is made or reparented is reported again when it is mapped, one that is destroyed when it
    // is unmapped.
    switch (event.response_type & 0x7f) {
        case XCB_MAP_NOTIFY:
        case XCB_UNMAP_NOTIFY:
        case XCB_CONFIGURE_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            return true;
        case XCB_PROPERTY_NOTIFY:
            return atoms_.tellsOfWindows(reinterpret_cast<const xcb_property_notify_event_t&>(event).atom);
        default:
            return layout_.hears(event);
    }
}

/// Until the server has something to say or, with a time, until then: what else changes meanwhile is part of
/// the same call. Either ends with the watch.
void ContentWatch::wait(std::optional<std::chrono::nanoseconds> until) {
    std::array<pollfd, 2> watched{
        {{wakeUp_.fileDescriptor(), POLLIN, 0}, {connection_.fileDescriptor(), POLLIN, 0}}};
    int timeout = -1;
    if (until) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - HostClock::now());
        timeout = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    }
    poll(watched.data(), until ? 1 : 2, timeout);
}

}  // namespace lumicrate::x11
