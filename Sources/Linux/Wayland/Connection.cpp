// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Wayland/Connection.h"

#include "Support/Error.h"
#include "Support/Text.h"

#include <poll.h>
#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace lumicrate::wayland {

namespace {

[[noreturn]] void failConnection() {
    throw PlatformError(localized("No display server can be reached."));
}

}  // namespace

void Connection::Disconnect::operator()(wl_display* display) const {
    wl_display_disconnect(display);
}

Connection::Connection(const std::string& displayName, std::chrono::milliseconds timeout)
    : display_(wl_display_connect(displayName.empty() ? nullptr : displayName.c_str())), timeout_(timeout) {
    if (!display_) failConnection();
    registry_ = wl_display_get_registry(display_.get());
}

Connection::~Connection() {
    wl_registry_destroy(registry_);
}

void Connection::followGlobals(Globals globals) {
    globals_ = std::move(globals);
    static constexpr wl_registry_listener listener{
        [](void* self, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t version) {
            static_cast<Connection*>(self)->globals_.onAdded(name, interface, version);
        },
        [](void* self, wl_registry*, std::uint32_t name) {
            const auto& onRemoved = static_cast<Connection*>(self)->globals_.onRemoved;
            if (onRemoved) onRemoved(name);
        }};
    wl_registry_add_listener(registry_, &listener, this);
}

/// wl_display_roundtrip() would wait forever for a compositor that hangs.
void Connection::sync() {
    bool isDone = false;
    static constexpr wl_callback_listener listener{
        [](void* done, wl_callback*, std::uint32_t) { *static_cast<bool*>(done) = true; }};
    const std::unique_ptr<wl_callback, void (*)(wl_callback*)> callback(wl_display_sync(display_.get()),
                                                                        wl_callback_destroy);
    wl_callback_add_listener(callback.get(), &listener, &isDone);
    if (!await(isDone, timeout_)) throw PlatformError(localized("The display server does not answer."));
}

bool Connection::await(const bool& isDone, std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (!isDone) {
        if (!readEvents(deadline)) return false;
    }
    return true;
}

/// False when the deadline has passed.
bool Connection::readEvents(Clock::time_point deadline) {
    if (wl_display_prepare_read(display_.get()) != 0) {
        if (wl_display_dispatch_pending(display_.get()) < 0) failConnection();
        return true;
    }
    wl_display_flush(display_.get());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd watched{wl_display_get_fd(display_.get()), POLLIN, 0};
    const int ready = poll(&watched, 1, static_cast<int>(std::max(left, decltype(left){0})));
    if (ready <= 0) {
        const bool isInterrupted = ready < 0 && errno == EINTR;
        wl_display_cancel_read(display_.get());
        return isInterrupted;
    }
    if (wl_display_read_events(display_.get()) < 0 || wl_display_dispatch_pending(display_.get()) < 0)
        failConnection();
    return true;
}

}  // namespace lumicrate::wayland
