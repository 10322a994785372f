// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Wayland/Connection.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>

namespace lumicrate::stage {

WaylandConnection::WaylandConnection(const std::string& displayName)
    : display_(wl_display_connect(displayName.empty() ? nullptr : displayName.c_str())) {
    if (!display_) fail("No Wayland display " + displayName);
    registry_ = keep(wl_display_get_registry(get()));
    static constexpr wl_registry_listener listener{
        [](void* self, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t version) {
            static_cast<WaylandConnection*>(self)->globals_.push_back({name, interface, version});
        },
        [](void* self, wl_registry*, std::uint32_t name) {
            std::erase_if(static_cast<WaylandConnection*>(self)->globals_,
                          [&](const Global& global) { return global.name == name; });
        }};
    wl_registry_add_listener(registry_, &listener, this);
    sync();
}

WaylandConnection::~WaylandConnection() {
    for (wl_proxy* object : kept_)
        wl_proxy_destroy(object);
}

void WaylandConnection::fail(const std::string& sentence) {
    throw std::runtime_error(sentence);
}

std::vector<void*> WaylandConnection::bindGlobals(const wl_interface& interface, std::uint32_t version) {
    std::vector<void*> objects;
    for (const Global& global : globals_) {
        if (global.interface != interface.name) continue;
        void* const object =
            wl_registry_bind(registry_, global.name, &interface, std::min(version, global.version));
        objects.push_back(keep(static_cast<wl_proxy*>(object)));
    }
    return objects;
}

void WaylandConnection::sync() const {
    if (wl_display_roundtrip(get()) < 0) fail("The Wayland display went away");
}

void WaylandConnection::dispatch() const {
    constexpr int timeout = 10'000;
    while (wl_display_prepare_read(get()) != 0) {
        if (wl_display_dispatch_pending(get()) > 0) return;
    }
    wl_display_flush(get());
    pollfd watched{wl_display_get_fd(get()), POLLIN, 0};
    if (poll(&watched, 1, timeout) <= 0) {
        wl_display_cancel_read(get());
        fail("The Wayland display does not answer");
    }
    if (wl_display_read_events(get()) < 0 || wl_display_dispatch_pending(get()) < 0)
        fail("The Wayland display went away");
}

}  // namespace lumicrate::stage
